#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "overtime/short_copy.h"

namespace overtime {

// Whether a record is no cell, but the end of its row. A cell that holds just a line feed is one, too.
inline bool endsRow(std::string_view text) {
    return text.size() == 1 && text.front() == '\n';
}

// Prints one table: lines as they are, and cells right-aligned in the widths of their columns.
//
// Output is gathered and reaches the file at the latest with the printer's end. Whether the file took it must
// be asked of the file. The errno of the first write that failed goes to the caller's `writeError`.
class TablePrinter {
public:
    // The file, the widths and the default value stay the caller's. `delimiter` and one blank part the cells
    // of a row; `defaultValue` is printed for cells that are missing at a row's end.
    TablePrinter(std::FILE* file, std::span<const std::uint64_t> widths, const std::string& delimiter,
                 const std::string& defaultValue, int& writeError);
    TablePrinter(const TablePrinter&) = delete;
    TablePrinter& operator=(const TablePrinter&) = delete;
    ~TablePrinter() { drain(); }

    void text(std::string_view text);

    // The titles of all columns, and the end of their line.
    void header(const std::vector<std::string>& titles);

    // Prints rows as they are spooled, `length` bytes of them, to the last record that has SLACK bytes after
    // it. Returns how many bytes these are.
    std::size_t records(const char* records, std::size_t length);

    // Prints the text of a record: the cell of the next column, or the end of the row.
    void record(std::string_view text);

private:
    // Cells are copied in strides: this many bytes after a cell's text must be readable.
    static constexpr std::size_t SLACK = STRIDE;
    static constexpr std::size_t BUFFER_SIZE = 1 << 16;
    static constexpr std::string_view BLANKS = "                ";
    static constexpr std::string_view NO_LEAD = BLANKS.substr(0, 0);

    // Where printing stands. The loop over all cells has it in the processor's registers.
    struct Cursor {
        char* out;                  // in the buffer
        const std::uint64_t* next;  // width of the next cell's column
        std::string_view lead;      // what stands in front of the next cell, with blanks after it
    };

    const char* cells(const char* record, const char* lastStart);
    void cell(std::string_view text);
    void endRow();
    void beginRow();
    bool makeRoom(std::size_t needed);
    void drain();
    void write(std::string_view text);

    std::FILE* const m_file;
    const std::uint64_t* const m_first;  // the widths of all columns
    const std::uint64_t* const m_last;
    const std::string m_separatorText;
    const std::string_view m_separator;
    const std::string& m_defaultValue;
    int& m_writeError;
    const std::unique_ptr<char[]> m_buffer;  // null when memory is short: then nothing is gathered
    const char* const m_end;
    Cursor m_at;
};

}  // namespace overtime
