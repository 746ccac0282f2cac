#include "host/stream/line_source.h"

#include <cstring>

#include "host/stream/json_line.h"

namespace host::stream {

namespace {

constexpr std::size_t FIRST_CAPACITY = std::size_t{256} * 1024;

}  // namespace

LineSource::LineSource(base::ByteSource& bytes, const base::StopSignal* stop)
    : m_bytes(bytes), m_stop(stop), m_buffer(FIRST_CAPACITY + JsonLine::PADDING) {}

bool LineSource::next(char*& text, std::size_t& size) {
    while (!isStopped_i()) {
        text = m_buffer.data() + m_begin;
        const void* const newline = std::memchr(m_buffer.data() + m_scanned, '\n', m_end - m_scanned);
        if (newline != nullptr) {
            size = static_cast<std::size_t>(static_cast<const char*>(newline) - text);
            m_begin += size + 1;
            m_scanned = m_begin;
            ++m_lineNumber;
            return true;
        }
        m_scanned = m_end;
        if (fill_i()) continue;
        if (!m_isAtEnd || m_begin == m_end) return false;
        text = m_buffer.data() + m_begin;
        size = m_end - m_begin;
        m_begin = m_end;
        ++m_lineNumber;
        return true;
    }
    return false;
}

// Reads more after what is left. Returns false if there is no more.
bool LineSource::fill_i() {
    if (m_isAtEnd || !m_bytes.error().empty()) return false;
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
    m_scanned -= m_begin;
    m_end -= m_begin;
    m_begin = 0;
    if (m_end + JsonLine::PADDING == m_buffer.size()) m_buffer.resize(m_buffer.size() * 2);
    const std::size_t room = m_buffer.size() - JsonLine::PADDING - m_end;
    const std::size_t got = m_bytes.read(m_buffer.data() + m_end, room);
    m_end += got;
    m_isAtEnd = got == 0 && m_bytes.error().empty() && !isStopped_i();
    return got > 0;
}

}  // namespace host::stream
