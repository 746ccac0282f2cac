#include "summary/cell_printer.h"

namespace {

constexpr std::size_t BLOCK_SIZE = 64 * 1024;

std::string_view untilZeroByte(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

}  // namespace

CellPrinter::CellPrinter(std::FILE* output, bool console, const std::vector<std::int32_t>& widths,
                         const std::string& delimiter)
    : m_output(output), m_console(console), m_widths(widths), m_delimiter(delimiter) {
    m_block.reserve(BLOCK_SIZE);
}

void CellPrinter::printLine(std::string_view text) {
    m_block.append(untilZeroByte(text)).push_back('\n');
    if (m_block.size() >= BLOCK_SIZE) drain_i();
}

void CellPrinter::printCell(std::string_view text) {
    const std::string_view shown = untilZeroByte(text);
    m_block.append(shown);
    if (shown.size() == text.size() && m_column < m_widths.size()) {
        const auto width = static_cast<std::size_t>(m_widths[m_column]);
        if (text.size() < width) m_block.append(width - text.size(), ' ');
    }
    if (m_column + 1 < m_widths.size()) {
        m_block.append(m_delimiter);
        ++m_column;
    } else {
        m_block.push_back('\n');
        m_column = 0;
    }
    if (m_block.size() >= BLOCK_SIZE) drain_i();
}

void CellPrinter::endRow() {
    if (m_column == 0) return;
    m_block.push_back('\n');
    m_column = 0;
}

bool CellPrinter::finish() {
    drain_i();
    return m_complete;
}

void CellPrinter::drain_i() {
    if (m_console) std::fwrite(m_block.data(), 1, m_block.size(), stdout);
    if (m_complete) m_complete = std::fwrite(m_block.data(), 1, m_block.size(), m_output) == m_block.size();
    m_block.clear();
}
