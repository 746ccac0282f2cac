#include "host/stream/line_source.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/stream/json_line.h"

namespace host::stream {

namespace {

constexpr std::size_t FIRST_CAPACITY = 256 * 1024;

}  // namespace

LineSource::LineSource(int descriptor, const base::StopSignal* stop)
    : m_descriptor(descriptor), m_stop(stop), m_buffer(FIRST_CAPACITY + JsonLine::PADDING) {}

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

// Reads more behind what is left. Returns false if there is no more.
bool LineSource::fill_i() {
    if (m_isAtEnd || m_error != 0) return false;
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
    m_scanned -= m_begin;
    m_end -= m_begin;
    m_begin = 0;
    if (m_end + JsonLine::PADDING == m_buffer.size()) m_buffer.resize(m_buffer.size() * 2);
    const std::size_t room = m_buffer.size() - JsonLine::PADDING - m_end;
    while (waitForInput_i()) {
        const ssize_t got = ::read(m_descriptor, m_buffer.data() + m_end, room);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) m_error = errno;
        if (got == 0) m_isAtEnd = true;
        if (got <= 0) return false;
        m_end += static_cast<std::size_t>(got);
        m_bytesRead += static_cast<std::uint64_t>(got);
        return true;
    }
    return false;
}

// Returns false if a stop was requested while nothing came.
bool LineSource::waitForInput_i() {
    if (m_stop == nullptr || m_stop->descriptor() < 0) return !isStopped_i();
    pollfd waits[2] = {{m_descriptor, POLLIN, 0}, {m_stop->descriptor(), POLLIN, 0}};
    while (::poll(waits, 2, -1) < 0 && errno == EINTR && !isStopped_i()) continue;
    return !isStopped_i();
}

}  // namespace host::stream
