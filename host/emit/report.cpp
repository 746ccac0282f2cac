#include "host/emit/report.h"

#include <algorithm>

#include "host/emit/json_line.h"

namespace host::emit {

void Report::header(const std::string& text) {
    JsonLine(key::MESSAGE, message::HEADER).member(key::TEXT, text).writeTo(m_output);
}

void Report::note(const std::string& text) {
    JsonLine(key::MESSAGE, message::TEXT).member(key::TEXT, text).writeTo(m_output);
}

void Report::section(const Section& section) {
    m_container = section.metric;
    m_sections.emplace_back(section.feature, section.name);
    JsonLine line(key::MESSAGE, message::CONTAINER);
    line.member(key::ID, section.metric)
        .member(key::FEATURE, section.feature)
        .member(key::METRIC, section.name);
    line.member(key::HEADER, section.name);
    if (!section.note.empty())
        line.key(key::NOTES).beginObject().key("0").beginList().value(section.note).endList().endObject();
    line.writeTo(m_output);
}

void Report::table(const std::string& title, const std::vector<std::string>& columns) {
    ++m_table;
    m_definitions.table(m_container, m_table, title, columns);
    JsonLine line(key::MESSAGE, message::TABLE);
    line.key(key::TABLE).beginList().value(m_container).value(m_table).endList().writeTo(m_output);
}

void Report::row(const std::vector<std::string>& cells) {
    JsonLine line(key::MESSAGE, message::ROW);
    line.key(key::TABLE).beginList().value(m_container).value(m_table).endList();
    line.key(key::CELLS).beginList();
    for (const std::string& cell : cells) line.value(plainName(cell));
    line.endList().writeTo(m_output);
}

void Report::order(const std::vector<std::string>& features) {
    std::vector<std::string> present;
    for (const std::string& feature : features)
        if (std::any_of(m_sections.begin(), m_sections.end(),
                        [&](const auto& c) { return c.first == feature; }))
            present.push_back(feature);
    JsonLine line(key::DEFINITION, definition::ORDER);
    line.list(key::FEATURES, present).list(key::PREFIXES, present).key(key::METRICS).beginObject();
    for (const std::string& feature : present) {
        std::vector<std::string> metrics;
        for (const auto& [owner, metric] : m_sections)
            if (owner == feature) metrics.push_back(metric);
        line.list(feature, metrics);
    }
    line.endObject().writeTo(m_output);
}

}  // namespace host::emit
