#include "host/emit/definitions.h"

#include "host/emit/json_line.h"

namespace host::emit {

namespace {

void addOptional(JsonLine& line, std::string_view name, Id id) {
    if (id != 0) line.member(name, id);
}

void addAttributes(JsonLine& line, const AttributeTexts& attributes) {
    if (attributes.empty()) return;
    line.key(key::ATTRIBUTES).beginList();
    for (const auto& [attribute, value] : attributes) line.beginList().value(attribute).raw(value).endList();
    line.endList();
}

void addQuantity(Output& output, Id id, const QuantityDefinition& definition, bool isTime) {
    const std::string& units = definition.units;
    JsonLine line(key::DEFINITION, definition::QUANTITY);
    line.member(key::ID, id)
        .member(key::KIND, static_cast<int>(definition.kind))
        .member(key::NAME, definition.name);
    line.member(key::UNITS, units);
    line.member(key::TITLE, units.empty() ? definition.name : definition.name + " (" + units + ")");
    if (definition.rate != 0)
        line.key(key::RATE).beginList().value(definition.rate).value(definition.rateFactor).endList();
    if (isTime) line.member(key::TIME, true);
    line.writeTo(output);
}

}  // namespace

std::string plainName(std::string_view name) {
    std::string plain(name);
    for (char& character : plain) {
        if (character == ',') character = ';';
        if (character == '\n' || character == '\r') character = ' ';
    }
    return plain;
}

Id Definitions::time() {
    if (m_time == 0) {
        m_time = m_nextQuantity++;
        addQuantity(m_output, m_time, {QuantityKind::Time, "Time", "usec"}, true);
    }
    return m_time;
}

Id Definitions::quantity(const QuantityDefinition& definition) {
    addQuantity(m_output, m_nextQuantity, definition, false);
    return m_nextQuantity++;
}

Id Definitions::counted(QuantityDefinition definition, const QuantityDefinition& rate, double rateFactor) {
    definition.rate = quantity(rate);
    definition.rateFactor = rateFactor;
    return quantity(definition);
}

Id Definitions::attribute(std::string_view name, AttributeType type, Id quantity) {
    JsonLine line(key::DEFINITION, definition::ATTRIBUTE);
    line.member(key::ID, m_nextHandle).member(key::NAME, plainName(name));
    addOptional(line, key::QUANTITY, quantity);
    line.member(key::TYPE, static_cast<int>(type)).writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::entity(std::string_view name, Id parent) {
    JsonLine line(key::DEFINITION, definition::ENTITY);
    line.member(key::ID, m_nextHandle).member(key::NAME, plainName(name));
    addOptional(line, key::PARENT, parent);
    line.writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::descriptor(std::string_view name, const AttributeTexts& attributes) {
    JsonLine line(key::DEFINITION, definition::DESCRIPTOR);
    line.member(key::ID, m_nextHandle).member(key::NAME, plainName(name));
    addAttributes(line, attributes);
    line.writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::handle(std::string_view name, const std::vector<Id>& expected) {
    JsonLine line(key::DEFINITION, definition::HANDLE);
    line.member(key::ID, m_nextHandle).member(key::NAME, plainName(name));
    if (!expected.empty()) line.list(key::EXPECTED, expected);
    line.writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::process(std::uint64_t pid, std::uint64_t parent, std::string_view path, std::uint64_t start) {
    JsonLine line(key::DEFINITION, definition::PROCESS);
    line.member(key::ID, m_nextHandle)
        .member(key::PID, pid)
        .member(key::PARENT, parent)
        .member(key::PATH, path);
    line.member(key::START, start).writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::thread(std::uint64_t tid, std::uint64_t pid, std::string_view name, std::uint64_t start) {
    JsonLine line(key::DEFINITION, definition::THREAD);
    line.member(key::ID, m_nextHandle).member(key::TID, tid).member(key::PID, pid).member(key::START, start);
    line.member(key::NAME, name).writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::metric(const MetricDefinition& definition) {
    JsonLine line(key::DEFINITION, definition::METRIC);
    line.member(key::ID, m_nextMetric)
        .member(key::NAME, plainName(definition.name))
        .member(key::GROUP, definition.group);
    line.member(key::TYPE, stream::METRIC_TYPES[static_cast<std::size_t>(definition.type)]);
    if (definition.tableClass != 0) line.member(key::CLASS, definition.tableClass);
    addOptional(line, key::QUANTITY, definition.quantity);
    if (!definition.legend.empty()) {
        line.key(key::LEGEND).beginList();
        for (const Id state : definition.legend) line.beginObject().member(key::HANDLE, state).endObject();
        line.endList();
    }
    addOptional(line, key::VALUE, definition.value);
    addOptional(line, key::STATE, definition.state);
    addOptional(line, key::ENTITY, definition.entity);
    if (!definition.descriptors.empty()) {
        line.key(key::DESCRIPTORS).beginList();
        for (const auto& [entity, descriptor] : definition.descriptors)
            line.beginList().value(entity).value(descriptor).endList();
        line.endList();
    }
    line.list(key::ENTITIES, definition.entities).writeTo(m_output);
    m_metrics.emplace_back(definition.name, definition.entities.size());
    return m_nextMetric++;
}

void Definitions::table(Id container, Id table, std::string_view title,
                        const std::vector<std::string>& columns) {
    std::vector<Id> handles;
    handles.reserve(columns.size());
    for (const std::string& column : columns) handles.push_back(handle(column));
    JsonLine line(key::DEFINITION, definition::TABLE);
    line.member(key::CONTAINER, container).member(key::ID, table).member(key::TITLE, plainName(title));
    line.member(key::HEADERS, false).list(key::HANDLES, handles).writeTo(m_output);
}

}  // namespace host::emit
