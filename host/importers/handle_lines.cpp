#include "host/importers/handle_lines.h"

#include "host/emit/json_line.h"

namespace host::importers {

HandleLines::Id HandleLines::entity(Id id, const std::string& name) {
    emit::JsonLine("def", "entity").member("id", id).member("name", name).writeTo(m_output);
    return id;
}

HandleLines::Id HandleLines::descriptor(const std::string& name, const std::string* state) {
    if (state != nullptr && m_stateAttribute == 0) {
        m_stateAttribute = newId();
        emit::JsonLine line("def", "attribute");
        line.member("id", m_stateAttribute).member("name", "State").member("type", 1).writeTo(m_output);
    }
    const Id id = newId();
    emit::JsonLine line("def", "descriptor");
    line.member("id", id).member("name", name);
    if (state != nullptr) {
        line.key("attributes").beginList().beginList().value(m_stateAttribute);
        line.beginObject().member("s", *state).endObject().endList().endList();
    }
    line.writeTo(m_output);
    return id;
}

HandleLines::Id HandleLines::quantity(const Quantity& quantity) {
    const Id id = m_nextQuantity++;
    const std::string units = quantity.units.empty() ? std::string() : " (" + quantity.units + ")";
    emit::JsonLine line("def", "quantity");
    line.member("id", id).member("kind", quantity.kind).member("name", quantity.name);
    line.member("units", quantity.units).member("title", quantity.name + units);
    if (quantity.rate != 0)
        line.key("rate").beginList().value(quantity.rate).value(quantity.factor).endList();
    line.writeTo(m_output);
    return id;
}

}  // namespace host::importers
