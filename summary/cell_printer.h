#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Lays a table's cells out as lines: each cell left-justified and padded with blanks to its column's width,
// the delimiter between cells, a newline after the last one.
//
// Output is gathered and written in big blocks; after
// the first failed write to the report nothing more goes there.
class CellPrinter {
public:
    // `widths` holds a width in bytes per column and, like `delimiter`, must outlive the printer. With
    // `console` everything also goes to standard output.
    CellPrinter(std::FILE* output, bool console, const std::vector<std::int32_t>& widths,
                const std::string& delimiter);

    // Prints the text as a line of its own.
    void printLine(std::string_view text);

    // Prints the next cell of the table.
    void printCell(std::string_view text);

    // Ends the line if its last cell is still missing.
    void endRow();

    // Hands on what is gathered. Returns false if a write to the report has failed, with errno as that
    // write left it if it happened here.
    bool finish();

private:
    char* room_i(std::size_t size);
    void drain_i();

    std::FILE* m_output;
    bool m_console;
    const std::vector<std::int32_t>& m_widths;
    const std::string& m_delimiter;
    std::size_t m_column = 0;
    std::size_t m_size;  // of m_block, in bytes
    std::unique_ptr<char[]> m_block;
    std::size_t m_used = 0;
    bool m_complete = true;
};
