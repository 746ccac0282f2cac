#include "host/compare/run_table.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "host/compare/cell.h"

namespace host::compare {

RunTable::RunTable(std::span<Group> groups) : m_groups(groups.size()) {
    // Columns are counted before any number is kept: most input that cannot be compared ends here, in little
    // memory.
    survey_i(groups);
    if (comparable() > 0) {
        reserve_i();
        fill_i(groups);
    }
    m_index = {};
    m_layouts = {};
}

std::span<const double> RunTable::numbers(std::size_t column, std::size_t group) const {
    const Column& at = m_columns[column];
    return std::span(m_numbers).subspan(at.m_begin[group], at.m_size[group]);
}

std::span<const std::uint16_t> RunTable::runsOf(std::size_t column, std::size_t group) const {
    const Column& at = m_columns[column];
    return std::span(m_numberRuns).subspan(at.m_begin[group], at.m_size[group]);
}

std::size_t RunTable::comparable() const {
    return static_cast<std::size_t>(
        std::count_if(m_columns.begin(), m_columns.end(), [&](const Column& column) {
            const auto hasNumbers = [](std::size_t size) { return size > 0; };
            return !column.m_isText &&
                   std::all_of(column.m_size.begin(),
                               column.m_size.begin() + static_cast<std::ptrdiff_t>(m_groups), hasNumbers);
        }));
}

std::uint32_t RunTable::columnOf_i(std::string_view name) {
    if (const auto known = m_index.find(name); known != m_index.end()) return known->second;
    m_columns.emplace_back().m_name = name;
    return m_index.emplace(m_columns.back().m_name, static_cast<std::uint32_t>(m_columns.size() - 1))
        .first->second;
}

const RunTable::Layout& RunTable::layoutOf_i(const Run& run) {
    Layout& layout = m_layouts[run.m_header][run.m_reading];
    if (!layout.empty()) return layout;
    layout.reserve(run.m_header->fields(run.m_reading));
    m_index.reserve(run.m_header->fields(run.m_reading));
    for (const auto& name : run.m_header->columnNames(run.m_reading))
        layout.push_back(name ? columnOf_i(*name) : NO_COLUMN);
    return layout;
}

// Calls `take` with the column and the content of each cell of a run.
template <typename Take>
void RunTable::forEachCell_i(const Run& run, Take take) {
    for (const auto& [name, number] : run.m_numbers)
        take(m_columns[columnOf_i(name)], Cell{Cell::Number, number});
    if (run.m_header == nullptr) return;
    Fields fields(run.m_line);
    std::string_view field;
    for (const std::uint32_t column : layoutOf_i(run))
        if (fields.next(field) && column != NO_COLUMN) take(m_columns[column], readCell(field));
}

void RunTable::survey_i(std::span<Group> groups) {
    for (std::size_t group = 0; group < m_groups; ++group) {
        m_runs[group] = groups[group].m_runs.size();
        for (const Run& run : groups[group].m_runs)
            forEachCell_i(run, [&](Column& column, const Cell& cell) {
                if (cell.m_kind == Cell::Text) column.m_isText = true;
                if (cell.m_kind == Cell::Number) ++column.m_size[group];
            });
    }
    for (Column& column : m_columns) {
        const bool hasNumbers =
            std::any_of(column.m_size.begin(), column.m_size.end(), [](auto n) { return n > 0; });
        column.m_isMixed = column.m_isText && hasNumbers;
        column.m_isText = column.m_isText || !hasNumbers;
        if (column.m_isText) column.m_size = {};
    }
}

// Gives every column its place.
void RunTable::reserve_i() {
    std::size_t total = 0;
    for (Column& column : m_columns)
        for (std::size_t group = 0; group < m_groups; ++group) {
            column.m_begin[group] = total;
            total += std::exchange(column.m_size[group], 0);
        }
    m_numbers.resize(total);
    m_numberRuns.resize(total);
}

void RunTable::fill_i(std::span<Group> groups) {
    for (std::size_t group = 0; group < m_groups; ++group) {
        std::vector<Run>& runs = groups[group].m_runs;
        std::stable_sort(runs.begin(), runs.end(),
                         [](const Run& a, const Run& b) { return a.m_time < b.m_time; });
        for (std::size_t i = 0; i < runs.size(); ++i) {
            forEachCell_i(runs[i], [&](Column& column, const Cell& cell) {
                if (cell.m_kind != Cell::Number || column.m_isText) return;
                const std::size_t place = column.m_begin[group] + column.m_size[group]++;
                m_numbers[place] = cell.m_number;
                m_numberRuns[place] = static_cast<std::uint16_t>(i);
            });
            runs[i].m_line = {};
            runs[i].m_numbers = {};
        }
    }
}

}  // namespace host::compare
