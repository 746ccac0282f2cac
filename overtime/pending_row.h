#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "overtime/short_copy.h"
#include "plugins/packing.h"

namespace overtime {

// The cells of a row that is being built, by column. Keeps its memory from row to row.
class PendingRow {
public:
    std::size_t columnCount() const { return m_columnCount; }

    // Makes room for more columns, which have no cells yet.
    void setColumnCount(std::size_t count) {
        m_cells.resize(count + 1);  // one more, for reading in strides
        m_columnCount = count;
    }

    // Puts a copy of `text` in the place of what the column had. The column must exist.
    void set(std::size_t column, std::string_view text) {
        Cell& cell = m_cells[column];
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
        if (cell.length == LONG_CELL) return m_longTexts.at(column);
        return {cell.text, cell.length};
    }

    // An upper bound of what `spool` writes, less the default values.
    std::size_t bound() const {
        return m_columnCount * (sizeof(std::uint32_t) + 2 * STRIDE) + m_longTextSize;
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
        m_longTextSize = 0;
        return out;
    }

private:
    static constexpr std::uint32_t NO_CELL = 0xFFFFFFFF;
    static constexpr std::uint32_t LONG_CELL = 0xFFFFFFFE;

    // Cells lie in the table itself, two to a cache line, unless they are long.
    struct Cell {
        std::uint32_t length = NO_CELL;
        char text[28];
    };

    void setLong(std::size_t column, std::string_view text) {
        std::string& place = m_longTexts[column];
        place.assign(text);
        m_longTextSize += text.size();
        m_cells[column].length = LONG_CELL;
    }

    std::size_t m_columnCount = 0;
    std::size_t m_longTextSize = 0;  // of all that were set in this row
    std::vector<Cell> m_cells;
    std::unordered_map<std::size_t, std::string> m_longTexts;
};

}  // namespace overtime
