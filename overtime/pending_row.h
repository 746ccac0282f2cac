#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace overtime {

// The cells of a row that is being built, by column. Keeps its memory from row to row.
class PendingRow {
public:
    struct Cell {
        const char* text;  // null if the column has no cell
        std::size_t length;
    };

    // Makes room for columns 0 to `count` - 1. Cells that are there stay.
    void setColumnCount(std::size_t count) { m_places.resize(count); }

    // Puts a copy of `text` in the place of what the column had. The column must exist.
    void set(std::size_t column, std::string_view text) {
        Place& place = m_places[column];
        // A cell that is pushed again takes its old place if it fits: rows that are never completed must not
        // grow without end.
        if (place.row != m_row || place.capacity < text.size()) {
            if (m_text.size() - m_used < text.size()) m_text.resize(m_used * 2 + text.size() + 64);
            place = {m_row, m_used, 0, text.size()};
            m_used += text.size();
        }
        place.length = text.size();
        if (!text.empty()) std::memcpy(m_text.data() + place.offset, text.data(), text.size());
    }

    Cell get(std::size_t column) const {
        const Place& place = m_places[column];
        if (place.row != m_row) return {nullptr, 0};
        return {m_text.data() + place.offset, place.length};
    }

    // An upper bound of the lengths of all cells together.
    std::size_t textSize() const { return m_used; }

    void clear() {
        ++m_row;
        m_used = 0;
    }

private:
    struct Place {
        std::uint64_t row = 0;  // the place counts if this is the current row
        std::size_t offset = 0;
        std::size_t length = 0;
        std::size_t capacity = 0;
    };

    std::uint64_t m_row = 1;
    std::size_t m_used = 0;
    std::vector<char> m_text;
    std::vector<Place> m_places;
};

}  // namespace overtime
