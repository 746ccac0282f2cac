#include "host/emit/definitions.h"

#include "host/emit/json_line.h"

namespace host::emit {

namespace {

const char* typeName(MetricType type) {
    switch (type) {
        case MetricType::SampledDelta:
            return "SAMPLED_DELTA";
        case MetricType::SampledResidency:
            return "SAMPLED_RESIDENCY";
        case MetricType::SampledValue:
            return "SAMPLED_VALUE";
        case MetricType::TracedTransition:
            return "TRACED_VALUE_TRANSITION";
        case MetricType::TracedEvent:
            return "TRACED_EVENT";
    }
    return "";
}

void addOptional(JsonLine& line, const char* key, Id id) {
    if (id != 0) line.member(key, id);
}

void addAttributes(JsonLine& line, const AttributeTexts& attributes) {
    if (attributes.empty()) return;
    line.key("attributes").beginList();
    for (const auto& [attribute, value] : attributes) line.beginList().value(attribute).raw(value).endList();
    line.endList();
}

void addQuantity(Output& output, Id id, const QuantityDefinition& definition, bool isTime) {
    const std::string& units = definition.units;
    JsonLine line("def", "quantity");
    line.member("id", id).member("kind", static_cast<int>(definition.kind)).member("name", definition.name);
    line.member("units", units);
    line.member("title", units.empty() ? definition.name : definition.name + " (" + units + ")");
    if (definition.rate != 0)
        line.key("rate").beginList().value(definition.rate).value(definition.rateFactor).endList();
    if (isTime) line.member("time", true);
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
    JsonLine line("def", "attribute");
    line.member("id", m_nextHandle).member("name", plainName(name));
    addOptional(line, "quantity", quantity);
    line.member("type", static_cast<int>(type)).writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::entity(std::string_view name, Id parent) {
    JsonLine line("def", "entity");
    line.member("id", m_nextHandle).member("name", plainName(name));
    addOptional(line, "parent", parent);
    line.writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::descriptor(std::string_view name, const AttributeTexts& attributes) {
    JsonLine line("def", "descriptor");
    line.member("id", m_nextHandle).member("name", plainName(name));
    addAttributes(line, attributes);
    line.writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::handle(std::string_view name, const std::vector<Id>& expected) {
    JsonLine line("def", "handle");
    line.member("id", m_nextHandle).member("name", plainName(name));
    if (!expected.empty()) line.list("expected", expected);
    line.writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::process(std::uint64_t pid, std::uint64_t parent, std::string_view path, std::uint64_t start) {
    JsonLine line("def", "process");
    line.member("id", m_nextHandle).member("pid", pid).member("parent", parent).member("path", path);
    line.member("start", start).writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::thread(std::uint64_t tid, std::uint64_t pid, std::string_view name, std::uint64_t start) {
    JsonLine line("def", "thread");
    line.member("id", m_nextHandle).member("tid", tid).member("pid", pid).member("start", start);
    line.member("name", name).writeTo(m_output);
    return m_nextHandle++;
}

Id Definitions::metric(const MetricDefinition& definition) {
    JsonLine line("def", "metric");
    line.member("id", m_nextMetric)
        .member("name", plainName(definition.name))
        .member("group", definition.group);
    line.member("type", typeName(definition.type));
    if (definition.tableClass != 0) line.member("class", definition.tableClass);
    addOptional(line, "quantity", definition.quantity);
    if (!definition.legend.empty()) {
        line.key("legend").beginList();
        for (const Id state : definition.legend) line.beginObject().member("h", state).endObject();
        line.endList();
    }
    addOptional(line, "value", definition.value);
    addOptional(line, "state", definition.state);
    addOptional(line, "entity", definition.entity);
    if (!definition.descriptors.empty()) {
        line.key("descriptors").beginList();
        for (const auto& [entity, descriptor] : definition.descriptors)
            line.beginList().value(entity).value(descriptor).endList();
        line.endList();
    }
    line.list("entities", definition.entities).writeTo(m_output);
    m_metrics.emplace_back(definition.name, definition.entities.size());
    return m_nextMetric++;
}

void Definitions::table(Id container, Id table, std::string_view title,
                        const std::vector<std::string>& columns) {
    std::vector<Id> handles;
    handles.reserve(columns.size());
    for (const std::string& column : columns) handles.push_back(handle(column));
    JsonLine line("def", "table");
    line.member("container", container).member("id", table).member("title", plainName(title));
    line.member("headers", false).list("handles", handles).writeTo(m_output);
}

}  // namespace host::emit
