#include "export/html/summary_tables.h"

#include <cstdlib>
#include <utility>

#include "export/html/markup.h"

namespace exporting {

namespace {

std::string headerOf(const pwr::DataHandle* handle) {
    return handle != nullptr ? handle->getHeader() : std::string();
}

std::deque<std::string> headersOf(const pwr::TableMessage& message) {
    std::deque<std::string> headers;
    for (auto it = message.sharedHandlesBegin(); it != message.sharedHandlesEnd(); ++it)
        headers.push_back(headerOf(*it));
    if (message.getEntityCount() == 0)
        for (auto it = message.handlesBegin(); it != message.handlesEnd(); ++it)
            headers.push_back(headerOf(*it));
    for (auto entity = message.entitiesBegin(); entity != message.entitiesEnd(); ++entity)
        for (auto it = message.handlesBegin(); it != message.handlesEnd(); ++it) {
            std::string header = (*entity)->getHeader();
            const std::string field = headerOf(*it);
            if (message.getHandleCount() != 1 && !field.empty()) header.append(" ").append(field);
            headers.push_back(std::move(header));
        }
    return headers;
}

std::vector<std::string> notesOf(const pwr::TextNotes* notes, std::int32_t key) {
    if (notes == nullptr) return {};
    const auto found = notes->find(key);
    return found != notes->end() ? found->second : std::vector<std::string>();
}

void appendElement(ResultFile& page, std::string_view begin, std::string_view text, std::string_view end) {
    page.append(begin);
    appendEscaped(page, text);
    page.append(end);
}

void appendNotes(ResultFile& page, const std::vector<std::string>& notes) {
    for (const std::string& note : notes) appendElement(page, "<p>", note, "</p>\n");
}

}  // namespace

std::size_t SummaryTables::announce_i(const pwr::TableMessage& message) {
    const std::pair<unsigned, unsigned> key(message.m_metricContainerId, message.m_id);
    if (const auto known = m_numbers.find(key); known != m_numbers.end()) return known->second;
    const std::size_t number = m_tables.size();
    // The table first: without memory for its number it is one without rows.
    m_tables.push_back({message.m_metricContainerId,
                        message.getTitle(),
                        headersOf(message),
                        {},
                        notesOf(message.getTextNotes(), 0),
                        notesOf(message.getTextNotes(), 1)});
    m_numbers.emplace(key, number);
    return number;
}

void SummaryTables::take(const pwr::TableMessage& message, const WriterPlugin& writer) {
    Table& table = m_tables[announce_i(message)];
    if (message.getTableMessageType() != pwr::TABLE_ROW) return;
    std::deque<std::string> cells;
    writer.getRowValues(message, cells);
    table.rows.push_back(std::move(cells));
}

void SummaryTables::describe(const pwr::MetricContainerInfoMessage& message) {
    m_containers.try_emplace(message.m_metricContainerId,
                             Container{message.m_containerHeader, notesOf(message.m_notes, 0)});
}

void SummaryTables::appendTo(ResultFile& page) const {
    const unsigned* before = nullptr;
    for (const Table& table : m_tables) {
        const auto container = m_containers.find(table.container);
        if (container != m_containers.end() && (before == nullptr || *before != table.container)) {
            if (!container->second.header.empty())
                appendElement(page, "<h3>", container->second.header, "</h3>\n");
            appendNotes(page, container->second.notes);
        }
        before = &table.container;
        appendNotes(page, table.notesBefore);
        appendElement(page, "<div class=\"wide\"><table>\n<caption>", table.title, "</caption>\n<thead><tr>");
        for (const std::string& header : table.headers)
            appendElement(page, "<th scope=\"col\">", header, "</th>");
        page.append("</tr></thead>\n<tbody>\n");
        for (const auto& row : table.rows) {
            page.append("<tr>");
            for (const std::string& cell : row)
                if (&cell == &row.front())
                    appendElement(page, "<th scope=\"row\">", cell, "</th>");
                else
                    appendElement(page, "<td>", cell, "</td>");
            page.append("</tr>\n");
        }
        page.append("</tbody></table></div>\n");
        appendNotes(page, table.notesAfter);
    }
}

double SummaryTables::numberOf(const std::string& title, const std::string& key) const {
    for (const Table& table : m_tables)
        for (const auto& row : table.rows)
            if (table.title == title && !row.empty() && row.front() == key)
                return std::strtod(row.back().c_str(), nullptr);
    return 0;
}

}  // namespace exporting
