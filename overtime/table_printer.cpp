#include "overtime/table_printer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "plugins/output_file.h"
#include "plugins/spooled_text.h"

namespace overtime {

TablePrinter::TablePrinter(std::FILE* file, std::span<const std::uint64_t> widths,
                           const std::string& delimiter, const std::string& defaultValue, int& writeError)
    : m_file(file),
      m_first(widths.data()),
      m_last(m_first + widths.size()),
      m_separatorText(delimiter + " " + std::string(BLANKS)),
      m_separator(m_separatorText.data(), delimiter.size() + 1),
      m_defaultValue(defaultValue),
      m_writeError(writeError),
      m_buffer(new (std::nothrow) char[BUFFER_SIZE]),
      m_end(m_buffer == nullptr ? nullptr : m_buffer.get() + BUFFER_SIZE),
      m_at{m_buffer.get(), m_first, NO_LEAD} {}

void TablePrinter::drain() {
    if (m_buffer == nullptr) return;
    const auto used = static_cast<std::size_t>(m_at.out - m_buffer.get());
    if (used != 0) write({m_buffer.get(), used});
    m_at.out = m_buffer.get();
}

void TablePrinter::write(std::string_view text) {
    writeText(m_file, text, m_writeError);
}

// Empties the buffer. Returns false if it is too small all the same.
bool TablePrinter::makeRoom(std::size_t needed) {
    drain();
    return needed <= static_cast<std::size_t>(m_end - m_at.out);
}

void TablePrinter::text(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(m_end - m_at.out) && !makeRoom(text.size())) {
        write(text);
        return;
    }
    if (text.empty()) return;
    std::memcpy(m_at.out, text.data(), text.size());
    m_at.out += text.size();
}

void TablePrinter::header(const std::vector<std::string>& titles) {
    for (const std::string& title : titles) cell(title);
    text("\n");
    beginRow();
}

void TablePrinter::beginRow() {
    m_at.next = m_first;
    m_at.lead = NO_LEAD;
}

void TablePrinter::cell(std::string_view text) {
    const std::uint64_t width = m_at.next != m_last ? *m_at.next++ : 0;
    const std::string_view lead = m_at.lead;
    m_at.lead = m_separator;
    this->text(lead);
    for (std::size_t i = text.size(); i < width; ++i) this->text(" ");
    this->text(text);
}

void TablePrinter::endRow() {
    // A row without any cell begins with a delimiter.
    m_at.lead = m_separator;
    while (m_at.next != m_last) cell(m_defaultValue);
    text("\n");
    beginRow();
}

void TablePrinter::record(std::string_view text) {
    if (endsRow(text)) {
        endRow();
    } else {
        cell(text);
    }
}

// All cells of a run pass here: what is printed stands in the processor's registers, and a cell with what is
// in front of it mostly takes two copies.
std::size_t TablePrinter::records(const char* records, std::size_t length) {
    constexpr std::size_t NEEDED = spooled_text::LENGTH_SIZE + SLACK;
    if (length < NEEDED) return 0;
    const char* const lastStart = records + length - NEEDED;
    const char* record = records;
    while (record <= lastStart) {
        record = cells(record, lastStart);
        if (record > lastStart) break;
        const std::string_view text = spooled_text::textAt(record);
        if (text.size() > static_cast<std::size_t>(lastStart - record)) break;
        this->record(text);
        record = text.data() + text.size();
    }
    return static_cast<std::size_t>(record - records);
}

// Prints cells for which the buffer has room, to the end of the row at the furthest. Returns the record after
// them. It may begin behind `lastStart`, but its length can be read.
const char* TablePrinter::cells(const char* record, const char* lastStart) {
    if (m_buffer == nullptr || m_separator.size() > STRIDE) return record;
    const char* const end = m_end - SLACK;
    const std::uint64_t* const last = m_last;
    const std::string_view separator = m_separator;
    auto [out, next, lead] = m_at;
    while (next != last) {
        const std::string_view text = spooled_text::textAt(record);
        if (std::ssize(text) > lastStart - record || endsRow(text)) break;
        const std::size_t size = lead.size() + std::max(*next, text.size());
        if (static_cast<std::ptrdiff_t>(size) > end - out) break;
        const std::size_t start = size - text.size();
        std::memcpy(out, lead.data(), STRIDE);  // with blanks after it, which mostly are all
        for (std::size_t i = STRIDE; i < start; i += STRIDE) std::memcpy(out + i, BLANKS.data(), STRIDE);
        copyStrides(out + start, text.data(), text.size());
        out += size;
        ++next;
        lead = separator;
        record = text.data() + text.size();
    }
    m_at = {out, next, lead};
    return record;
}

}  // namespace overtime
