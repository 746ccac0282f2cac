#include "host/importers/handle_lines.h"

#include "host/emit/json_line.h"

namespace host::importers {

namespace key = emit::key;
namespace definition = emit::definition;

HandleLines::Id HandleLines::entity(Id id, const std::string& name) {
    emit::JsonLine(key::DEFINITION, definition::ENTITY)
        .member(key::ID, id)
        .member(key::NAME, name)
        .writeTo(m_output);
    return id;
}

HandleLines::Id HandleLines::descriptor(const std::string& name, const std::string* state) {
    if (state != nullptr && m_stateAttribute == 0) {
        m_stateAttribute = newId();
        emit::JsonLine line(key::DEFINITION, definition::ATTRIBUTE);
        line.member(key::ID, m_stateAttribute)
            .member(key::NAME, "State")
            .member(key::TYPE, 1)
            .writeTo(m_output);
    }
    const Id id = newId();
    emit::JsonLine line(key::DEFINITION, definition::DESCRIPTOR);
    line.member(key::ID, id).member(key::NAME, name);
    if (state != nullptr) {
        line.key(key::ATTRIBUTES).beginList().beginList().value(m_stateAttribute);
        line.beginObject().member(key::STRING, *state).endObject().endList().endList();
    }
    line.writeTo(m_output);
    return id;
}

HandleLines::Id HandleLines::quantity(const Quantity& quantity) {
    const Id id = m_nextQuantity++;
    const std::string units = quantity.units.empty() ? std::string() : " (" + quantity.units + ")";
    emit::JsonLine line(key::DEFINITION, definition::QUANTITY);
    line.member(key::ID, id).member(key::KIND, quantity.kind).member(key::NAME, quantity.name);
    line.member(key::UNITS, quantity.units).member(key::TITLE, quantity.name + units);
    if (quantity.rate != 0)
        line.key(key::RATE).beginList().value(quantity.rate).value(quantity.factor).endList();
    line.writeTo(m_output);
    return id;
}

}  // namespace host::importers
