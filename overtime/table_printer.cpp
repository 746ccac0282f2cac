#include "overtime/table_printer.h"

#include <new>

#include "plugins/output_file.h"

namespace overtime {

TablePrinter::TablePrinter(std::FILE* file, std::span<const std::uint64_t> widths,
                           const std::string& delimiter, const std::string& defaultValue, int& writeError)
    : m_file(file),
      m_first(widths.data()),
      m_last(m_first + widths.size()),
      m_next(m_first),
      m_separatorLength(delimiter.size() + 1),
      m_separator(delimiter + " " + std::string(SLACK, ' ')),
      m_defaultValueLength(defaultValue.size()),
      m_defaultValue(defaultValue + std::string(SLACK, ' ')),
      m_writeError(writeError),
      m_buffer(new (std::nothrow) char[BUFFER_SIZE]),
      m_out(m_buffer.get()),
      m_end(m_buffer == nullptr ? nullptr : m_out + BUFFER_SIZE) {}

void TablePrinter::drain() {
    if (m_buffer == nullptr) return;
    const auto used = static_cast<std::size_t>(m_out - m_buffer.get());
    if (used != 0) write({m_buffer.get(), used});
    m_out = m_buffer.get();
}

void TablePrinter::write(std::string_view text) {
    writeText(m_file, text, m_writeError);
}

bool TablePrinter::makeRoom(std::size_t needed) {
    drain();
    return needed <= static_cast<std::size_t>(m_end - m_out);
}

void TablePrinter::unbufferedCell(std::size_t lead, std::size_t padding, std::string_view text) {
    write({m_separator.data(), lead});
    for (std::size_t i = 0; i < padding; ++i) write(" ");
    write(text);
}

void TablePrinter::text(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(m_end - m_out) && !makeRoom(text.size())) {
        write(text);
        return;
    }
    if (text.empty()) return;
    std::memcpy(m_out, text.data(), text.size());
    m_out += text.size();
}

void TablePrinter::cellWithoutSlack(std::string_view text) {
    m_padded.assign(text).append(SLACK, ' ');
    cell(m_padded.data(), text.size());
}

void TablePrinter::header(const std::vector<std::string>& titles) {
    for (const std::string& title : titles) cellWithoutSlack(title);
    text("\n");
    m_next = m_first;
    m_lead = 0;
}

void TablePrinter::endRow() {
    // A row without any cell begins with a delimiter.
    m_lead = m_separatorLength;
    while (m_next != m_last) cell(m_defaultValue.data(), m_defaultValueLength);
    if (m_out != m_end)
        *m_out++ = '\n';
    else
        text("\n");
    m_next = m_first;
    m_lead = 0;
}

}  // namespace overtime
