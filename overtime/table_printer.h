#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "overtime/short_copy.h"

namespace overtime {

// Prints one table: lines as they are, and cells right-aligned in the widths of their columns.
//
// Output is gathered and reaches the file at the latest with the printer's end. Whether the file took it must
// be asked of the file.
class TablePrinter {
public:
    // Cells are copied in strides: this many bytes behind a cell's text must be readable.
    static constexpr std::size_t SLACK = STRIDE;

    // The file and the widths stay the caller's. `delimiter` and one blank part the cells of a row;
    // `defaultValue` is printed for cells that are missing at a row's end.
    TablePrinter(std::FILE* file, const std::vector<std::uint64_t>& widths, const std::string& delimiter,
                 const std::string& defaultValue);
    TablePrinter(const TablePrinter&) = delete;
    TablePrinter& operator=(const TablePrinter&) = delete;
    ~TablePrinter() { drain(); }

    void text(std::string_view text);

    // The titles of all columns, and the end of their line.
    void header(const std::vector<std::string>& titles);

    // The cell of the next column. SLACK bytes behind it must be readable.
    void cell(const char* text, std::size_t length) {
        const std::uint64_t width = m_column < m_widths.size() ? m_widths[m_column] : 0;
        const std::size_t padding = width > length ? width - length : 0;
        const std::size_t lead = m_isFirst ? 0 : m_separatorLength;
        ++m_column;
        m_isFirst = false;
        if (lead + padding + length + SLACK > m_room && !makeRoom(lead + padding + length + SLACK)) {
            unbufferedCell(lead, padding, {text, length});
            return;
        }
        char* out = m_out;
        copyStrides(out, m_separator.data(), lead);
        out += lead;
        std::memcpy(out, BLANKS, SLACK);
        for (std::size_t i = SLACK; i < padding; i += SLACK) std::memcpy(out + i, BLANKS, SLACK);
        out += padding;
        copyStrides(out, text, length);
        out += length;
        m_room -= static_cast<std::size_t>(out - m_out);
        m_out = out;
    }

    // The same for a text that has nothing behind it.
    void cellWithoutSlack(std::string_view text);

    // Fills the row up with default values and ends it.
    void endRow();

private:
    static constexpr std::size_t BUFFER_SIZE = 1 << 16;
    static constexpr const char* BLANKS = "                ";

    bool makeRoom(std::size_t needed);
    void drain();
    void unbufferedCell(std::size_t lead, std::size_t padding, std::string_view text);

    std::FILE* const m_file;
    const std::vector<std::uint64_t>& m_widths;
    const std::size_t m_separatorLength;
    const std::string m_separator;  // with SLACK bytes behind it, as the next one
    const std::size_t m_defaultValueLength;
    const std::string m_defaultValue;
    std::size_t m_column = 0;
    bool m_isFirst = true;
    std::string m_padded;                    // a text and the slack behind it
    const std::unique_ptr<char[]> m_buffer;  // null when memory is short: then nothing is gathered
    char* m_out;
    std::size_t m_room;
};

}  // namespace overtime
