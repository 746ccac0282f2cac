#include "summary/cell_printer.h"

#include <algorithm>
#include <cstring>

#include "plugins/packing.h"

namespace {

constexpr std::size_t BLOCK_SIZE = std::size_t{64} * 1024;

}  // namespace

CellPrinter::CellPrinter(std::FILE* output, bool console, const std::vector<std::int32_t>& widths,
                         const std::string& delimiter)
    : m_output(output),
      m_console(console),
      m_widths(widths),
      m_delimiter(delimiter),
      m_size(BLOCK_SIZE),
      m_block(std::make_unique_for_overwrite<char[]>(BLOCK_SIZE)) {}

void CellPrinter::printLine(std::string_view text) {
    char* const end = packing::putBytes(room_i(text.size() + 1), text.data(), text.size());
    *end = '\n';
    m_used += text.size() + 1;
}

void CellPrinter::printCell(std::string_view text) {
    const std::size_t width = m_column < m_widths.size() ? static_cast<std::size_t>(m_widths[m_column]) : 0;
    const std::size_t padded = std::max(text.size(), width);
    char* const start = room_i(padded + m_delimiter.size() + 1);
    char* out = packing::putBytes(start, text.data(), text.size());
    std::memset(out, ' ', padded - text.size());
    out = start + padded;
    if (m_column + 1 < m_widths.size()) {
        out = packing::putBytes(out, m_delimiter.data(), m_delimiter.size());
        ++m_column;
    } else {
        *out++ = '\n';
        m_column = 0;
    }
    m_used += static_cast<std::size_t>(out - start);
}

void CellPrinter::endRow() {
    if (m_column == 0) return;
    m_column = 0;
    printLine("");
}

bool CellPrinter::finish() {
    drain_i();
    return m_complete;
}

// Returns where the next `size` bytes go.
char* CellPrinter::room_i(std::size_t size) {
    if (m_size - m_used < size) drain_i();
    if (m_size < size) {
        m_block = std::make_unique_for_overwrite<char[]>(size);
        m_size = size;
    }
    return m_block.get() + m_used;
}

void CellPrinter::drain_i() {
    if (m_console) std::fwrite(m_block.get(), 1, m_used, stdout);
    if (m_complete) m_complete = std::fwrite(m_block.get(), 1, m_used, m_output) == m_used;
    m_used = 0;
}
