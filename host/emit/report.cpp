#include "host/emit/report.h"

#include <algorithm>

#include "host/emit/json_line.h"

namespace host::emit {

void Report::header(const std::string& text) {
    JsonLine("msg", "header").member("text", text).writeTo(m_output);
}

void Report::note(const std::string& text) {
    JsonLine("msg", "text").member("text", text).writeTo(m_output);
}

void Report::chapter(const Chapter& chapter) {
    m_container = chapter.metric;
    m_chapters.emplace_back(chapter.feature, chapter.name);
    JsonLine line("msg", "container");
    line.member("id", chapter.metric).member("feature", chapter.feature).member("metric", chapter.name);
    line.member("header", chapter.name);
    if (!chapter.note.empty())
        line.key("notes").beginObject().key("0").beginList().value(chapter.note).endList().endObject();
    line.writeTo(m_output);
}

void Report::table(const std::string& title, const std::vector<std::string>& columns) {
    ++m_table;
    m_definitions.table(m_container, m_table, title, columns);
    JsonLine line("msg", "table");
    line.key("table").beginList().value(m_container).value(m_table).endList().writeTo(m_output);
}

void Report::row(const std::vector<std::string>& cells) {
    JsonLine line("msg", "row");
    line.key("table").beginList().value(m_container).value(m_table).endList();
    line.key("cells").beginList();
    for (const std::string& cell : cells) line.value(plainName(cell));
    line.endList().writeTo(m_output);
}

void Report::order(const std::vector<std::string>& features) {
    std::vector<std::string> present;
    for (const std::string& feature : features)
        if (std::any_of(m_chapters.begin(), m_chapters.end(),
                        [&](const auto& c) { return c.first == feature; }))
            present.push_back(feature);
    JsonLine line("def", "order");
    line.list("features", present).list("prefixes", present).key("metrics").beginObject();
    for (const std::string& feature : present) {
        std::vector<std::string> metrics;
        for (const auto& [owner, metric] : m_chapters)
            if (owner == feature) metrics.push_back(metric);
        line.list(feature, metrics);
    }
    line.endObject().writeTo(m_output);
}

}  // namespace host::emit
