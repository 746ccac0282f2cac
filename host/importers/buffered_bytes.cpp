#include "host/importers/buffered_bytes.h"

#include <algorithm>
#include <cstring>

namespace host::importers {

namespace {

constexpr std::size_t READ_SIZE = std::size_t{128} * 1024;

}  // namespace

void BufferedBytes::fill_i(std::size_t count) {
    if (m_buffer.size() - m_begin < std::max(count, READ_SIZE)) {
        if (m_end > m_begin) std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
        if (m_buffer.size() < count + READ_SIZE)
            m_buffer.resize(std::max(count + READ_SIZE, 2 * m_buffer.size()));
    }
    while (m_end - m_begin < count) {
        const std::size_t got = m_source.read(m_buffer.data() + m_end, m_buffer.size() - m_end);
        if (got == 0) return;
        m_end += got;
    }
}

std::size_t BufferedBytes::read(char* to, std::size_t size) {
    if (m_begin == m_end) {
        const std::size_t got = m_source.read(to, size);
        m_offset += got;
        return got;
    }
    const std::size_t count = std::min(size, m_end - m_begin);
    std::copy_n(m_buffer.data() + m_begin, count, to);
    skip(count);
    return count;
}

}  // namespace host::importers
