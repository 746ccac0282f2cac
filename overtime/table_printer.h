#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "overtime/short_copy.h"

namespace overtime {

// Prints one table: lines as they are, and cells right-aligned in the widths of their columns.
//
// Output is gathered and reaches the file at the latest with the printer's end. Whether the file took it must
// be asked of the file. The errno of the first write that failed goes to the caller's `writeError`.
class TablePrinter {
public:
    // Cells are copied in strides: this many bytes after a cell's text must be readable.
    static constexpr std::size_t SLACK = STRIDE;

    // The file and the widths stay the caller's. `delimiter` and one blank part the cells of a row;
    // `defaultValue` is printed for cells that are missing at a row's end.
    TablePrinter(std::FILE* file, std::span<const std::uint64_t> widths, const std::string& delimiter,
                 const std::string& defaultValue, int& writeError);
    TablePrinter(const TablePrinter&) = delete;
    TablePrinter& operator=(const TablePrinter&) = delete;
    ~TablePrinter() { drain(); }

    void text(std::string_view text);

    // The titles of all columns, and the end of their line.
    void header(const std::vector<std::string>& titles);

    // The cell of the next column. SLACK bytes after it must be readable.
    void cell(const char* text, std::size_t length) {
        const std::uint64_t width = m_next != m_last ? *m_next++ : 0;
        const std::size_t padding = width > length ? width - length : 0;
        const std::size_t lead = m_lead;
        m_lead = m_separatorLength;
        char* out = m_out;
        if (lead + padding + length + SLACK > static_cast<std::size_t>(m_end - out)) {
            if (!makeRoom(lead + padding + length + SLACK)) {
                unbufferedCell(lead, padding, {text, length});
                return;
            }
            out = m_out;
        }
        copyStrides(out, m_separator.data(), lead);
        out += lead;
        std::memcpy(out, BLANKS, SLACK);
        for (std::size_t i = SLACK; i < padding; i += SLACK) std::memcpy(out + i, BLANKS, SLACK);
        out += padding;
        copyStrides(out, text, length);
        m_out = out + length;
    }

    // The same for a text that has nothing after it.
    void cellWithoutSlack(std::string_view text);

    // Fills the row up with default values and ends it.
    void endRow();

private:
    static constexpr std::size_t BUFFER_SIZE = 1 << 16;
    static constexpr const char* BLANKS = "                ";

    bool makeRoom(std::size_t needed);
    void drain();
    void write(std::string_view text);
    void unbufferedCell(std::size_t lead, std::size_t padding, std::string_view text);

    std::FILE* const m_file;
    // The widths of all columns, and where that of the next cell is.
    const std::uint64_t* const m_first;
    const std::uint64_t* const m_last;
    const std::uint64_t* m_next;
    const std::size_t m_separatorLength;
    const std::string m_separator;  // with SLACK bytes after it, as the next one
    const std::size_t m_defaultValueLength;
    const std::string m_defaultValue;
    int& m_writeError;
    std::size_t m_lead = 0;                  // how much of the separator stands in front of the next cell
    std::string m_padded;                    // a text and the slack after it
    const std::unique_ptr<char[]> m_buffer;  // null when memory is short: then nothing is gathered
    char* m_out;
    char* m_end;
};

}  // namespace overtime
