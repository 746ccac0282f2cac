#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "overtime/short_copy.h"
#include "plugins/packing.h"
#include "plugins/prefetch.h"

namespace overtime {

// The cells of a row that is being built, by column, and the widths of the columns. Keeps its memory from row
// to row.
class PendingRow {
public:
    std::size_t columnCount() const { return m_columnCount; }

    // Adds a column of a width, which has no cell yet.
    void addColumn(std::size_t width) {
        m_cells.resize(m_columnCount + 2);  // one more, for reading in strides
        m_cells[m_columnCount++].width = static_cast<std::uint32_t>(width);
    }

    // The column's first width, or the length of the longest text that was ever put into it.
    std::uint32_t width(std::size_t column) const { return m_cells[column].width; }

    // Puts a copy of `text` in the place of what the column had. The column must exist.
    void set(std::size_t column, std::string_view text) {
        Cell& cell = m_cells[column];
        if (text.size() > cell.width) cell.width = static_cast<std::uint32_t>(text.size());
        if (text.size() > sizeof cell.text) {
            setLong(column, text);
            return;
        }
        cell.length = static_cast<std::uint32_t>(text.size());
        copyShort(cell.text, text.data(), text.size());
    }

    // The column's cell, or `defaultText` if it has none.
    std::string_view get(std::size_t column, std::string_view defaultText) const {
        const Cell& cell = m_cells[column];
        if (cell.length == NO_CELL) return defaultText;
        if (cell.length == LONG_CELL) return m_longTexts->byColumn.at(column);
        return {cell.text, cell.length};
    }

    // Has the processor fetch the first cells.
    PREFETCHES void fetch() const { prefetch(m_cells.data(), 4 * CACHE_LINE); }

    // An upper bound of what `spool` writes, less the default values.
    std::size_t bound() const {
        const std::size_t longTexts = m_longTexts != nullptr ? m_longTexts->size : 0;
        return m_columnCount * (sizeof(std::uint32_t) + 2 * STRIDE) + longTexts;
    }

    // Writes the cells, or the default text where there is none, each behind its length, and clears the row.
    // Returns the place behind them. `defaultText` has no slack.
    char* spool(char* out, std::string_view defaultText) {
        for (std::size_t column = 0; column < m_columnCount; ++column) {
            Cell& cell = m_cells[column];
            const std::uint32_t length = cell.length;
            if (length <= sizeof cell.text) {
                out = packing::put(out, length);
                copyStrides(out, cell.text, length);
                out += length;
                cell.length = NO_CELL;
            } else {
                const std::string_view text = get(column, defaultText);
                out = packing::put(out, static_cast<std::uint32_t>(text.size()));
                out = packing::putBytes(out, text.data(), text.size());
                cell.length = NO_CELL;
            }
        }
        if (m_longTexts != nullptr) m_longTexts->size = 0;
        return out;
    }

private:
    static constexpr std::uint32_t NO_CELL = 0xFFFFFFFF;
    static constexpr std::uint32_t LONG_CELL = 0xFFFFFFFE;

    // Cells lie in the row itself, two to a cache line, unless they are long.
    struct Cell {
        std::uint32_t length = NO_CELL;
        std::uint32_t width = 0;  // of the column
        char text[24];
    };

    struct LongTexts {
        std::unordered_map<std::size_t, std::string> byColumn;
        std::size_t size = 0;  // of all that were set in this row
    };

    void setLong(std::size_t column, std::string_view text) {
        if (m_longTexts == nullptr) m_longTexts = std::make_unique<LongTexts>();
        m_longTexts->byColumn[column].assign(text);
        m_longTexts->size += text.size();
        m_cells[column].length = LONG_CELL;
    }

    std::size_t m_columnCount = 0;
    std::vector<Cell> m_cells;
    std::unique_ptr<LongTexts> m_longTexts;  // null until there is one
};

}  // namespace overtime
