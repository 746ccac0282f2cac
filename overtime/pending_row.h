#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "overtime/short_copy.h"
#include "plugins/packing.h"
#include "plugins/spooled_text.h"

namespace overtime {

using spooled_text::LENGTH_SIZE;

// Writes a text and returns the place after it. The caller answers for the room.
inline char* putText(char* out, std::string_view text) {
    if (text.size() > 2 * STRIDE) return packing::putBytes(out, text.data(), text.size());
    copyShort(out, text.data(), text.size());
    return out + text.size();
}

// The same for a text after its length.
inline char* putRecord(char* out, std::string_view text) {
    return putText(packing::put(out, static_cast<std::uint32_t>(text.size())), text);
}

// The first two cells of a row as they are spooled, for all tables whose rows begin alike.
class RowStart {
public:
    static constexpr std::size_t CELLS = 2;

    void set(std::string_view first, std::string_view second) {
        m_records.resize(2 * LENGTH_SIZE + first.size() + second.size());
        putRecord(putRecord(m_records.data(), first), second);
    }

    std::string_view first() const { return spooled_text::textAt(m_records.data()); }
    std::string_view second() const { return spooled_text::textAt(first().data() + first().size()); }
    std::string_view records() const { return m_records; }

private:
    std::string m_records = std::string(CELLS * LENGTH_SIZE, '\0');
};

// The row that is being built, as it will be spooled: one record per column, from the first on. Lies in
// memory that is its owner's.
class PendingRow {
public:
    // Room that stays free after the last record, for the one that ends the row.
    static constexpr std::size_t END_SIZE = LENGTH_SIZE + 1;

    // How many columns have a record.
    std::size_t count() const { return m_count; }

    char* begin() const { return m_begin; }
    char* end() const { return m_out; }
    std::size_t size() const { return static_cast<std::size_t>(m_out - m_begin); }

    bool hasRoomFor(std::size_t textSize) const {
        return static_cast<std::size_t>(m_end - m_out) >= LENGTH_SIZE + textSize + END_SIZE;
    }

    // Adds the record of the next column, for which there is room.
    void append(std::string_view text) {
        m_out = putRecord(m_out, text);
        ++m_count;
    }

    // Begins the row, which has no record yet and room for these.
    void append(const RowStart& start) {
        m_out = putText(m_out, start.records());
        m_count = RowStart::CELLS;
    }

    // Replaces the text of an early column by one of the same length. Returns false if it isn't one.
    bool replace(std::size_t column, std::string_view text) {
        if (column > EARLY) return false;
        char* record = m_begin;
        for (std::size_t i = 0; i < column; ++i) record += LENGTH_SIZE + spooled_text::textAt(record).size();
        if (spooled_text::textAt(record).size() != text.size()) return false;
        putRecord(record, text);
        return true;
    }

    // Begins another row, at `begin` in the same room.
    void restart(char* begin) {
        m_begin = m_out = begin;
        m_count = 0;
    }

    // The records now lie at `begin`, with room up to `end`.
    void moved(char* begin, const char* end) {
        m_out = begin + size();
        m_begin = begin;
        m_end = end;
    }

private:
    static constexpr std::size_t EARLY = 32;

    char* m_begin = nullptr;
    char* m_out = nullptr;
    const char* m_end = nullptr;
    std::size_t m_count = 0;
};

// A row whose cells come in any order.
class ScatteredRow {
public:
    void set(std::size_t column, std::string_view text) {
        if (column >= m_cells.size()) m_cells.resize(column + 1);
        Cell& cell = m_cells[column];
        if (cell.isSet && text.size() <= cell.room) {
            m_texts.replace(cell.offset, text.size(), text);
        } else {
            cell.offset = m_texts.size();
            m_texts.append(text);
            cell.room = text.size();
        }
        cell.length = text.size();
        cell.isSet = true;
    }

    // The cell's text, or `defaultText` if the column has none.
    std::string_view get(std::size_t column, std::string_view defaultText) const {
        if (column >= m_cells.size() || !m_cells[column].isSet) return defaultText;
        return std::string_view(m_texts).substr(m_cells[column].offset, m_cells[column].length);
    }

    void clear() {
        m_cells.clear();
        m_texts.clear();
    }

private:
    struct Cell {
        std::size_t offset = 0;
        std::size_t length = 0;
        std::size_t room = 0;  // for a text that takes its place
        bool isSet = false;
    };

    std::vector<Cell> m_cells;
    std::string m_texts;
};

}  // namespace overtime
