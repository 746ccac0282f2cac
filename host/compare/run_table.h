#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/compare/group.h"

namespace host::compare {

// The numbers of all columns of one or two groups of runs, column by column. Numbers of a column and group
// stand in order of time.
class RunTable {
public:
    static constexpr std::size_t MAX_GROUPS = 2;

    // Takes the columns of the groups' runs in order of first appearance. Sorts the runs by time and frees
    // what they hold.
    explicit RunTable(std::span<Group> groups);

    std::size_t columns() const { return m_columns.size(); }
    std::size_t runs(std::size_t group) const { return m_runs[group]; }

    const std::string& name(std::size_t column) const { return m_columns[column].m_name; }

    // Whether any cell of the column is neither a number nor missing. Such a column has no numbers here.
    bool isText(std::size_t column) const { return m_columns[column].m_isText; }
    // Whether it holds numbers as well.
    bool isMixed(std::size_t column) const { return m_columns[column].m_isMixed; }

    std::span<const double> numbers(std::size_t column, std::size_t group) const;
    // The runs of these numbers, in ascending order.
    std::span<const std::uint16_t> runsOf(std::size_t column, std::size_t group) const;

    // The number of columns with numbers in every group.
    std::size_t comparable() const;

private:
    struct Column {
        std::string m_name;
        bool m_isText = false;
        bool m_isMixed = false;
        std::array<std::size_t, MAX_GROUPS> m_begin{};
        std::array<std::size_t, MAX_GROUPS> m_size{};
    };
    // Of a header's reading: the column of each field, or NO_COLUMN.
    using Layout = std::vector<std::uint32_t>;
    static constexpr std::uint32_t NO_COLUMN = UINT32_MAX;

    std::uint32_t columnOf_i(std::string_view name);
    const Layout& layoutOf_i(const Run& run);
    template <typename Take>
    void forEachCell_i(const Run& run, Take take);
    void survey_i(std::span<Group> groups);
    void reserve_i();
    void fill_i(std::span<Group> groups);

    std::size_t m_groups;
    std::array<std::size_t, MAX_GROUPS> m_runs{};
    std::deque<Column> m_columns;
    std::unordered_map<std::string_view, std::uint32_t> m_index;  // by the columns' own names
    std::unordered_map<std::shared_ptr<const Header>, std::array<Layout, 2>> m_layouts;
    std::vector<double> m_numbers;
    std::vector<std::uint16_t> m_numberRuns;
};

}  // namespace host::compare
