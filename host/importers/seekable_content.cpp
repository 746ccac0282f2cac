#include "host/importers/seekable_content.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/base/unnamed_file.h"

namespace host::importers {

namespace {

constexpr std::size_t PIECE = std::size_t{1} << 20;
constexpr std::size_t WINDOW = std::size_t{1} << 15;

}  // namespace

bool SeekableContent::add(std::string_view bytes) {
    if (m_file >= 0) return true;
    m_pending.append(bytes);
    return m_pending.size() < PIECE || flush_i();
}

int SeekableContent::descriptor() {
    if (m_file >= 0) return m_file;
    return flush_i() ? m_copy.get() : -1;
}

bool SeekableContent::flush_i() {
    if (!m_copy.isOpen()) m_copy = base::makeUnnamedFile();
    std::size_t done = 0;
    while (m_copy.isOpen() && done < m_pending.size()) {
        const ssize_t n = ::pwrite(m_copy.get(), m_pending.data() + done, m_pending.size() - done,
                                   static_cast<off_t>(m_written + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<std::size_t>(n);
    }
    if (done < m_pending.size())
        m_error = std::string("cannot keep a copy in the working directory: ") + std::strerror(errno);
    m_written += done;
    m_pending.erase(0, done);
    return m_error.empty();
}

std::size_t SeekableContent::read(std::uint64_t offset, char* to, std::size_t size) const {
    const int file = m_file >= 0 ? m_file : m_copy.get();
    std::size_t done = 0;
    while (done < size && (m_file >= 0 || offset + done < m_written)) {
        const ssize_t n = ::pread(file, to + done, size - done, static_cast<off_t>(offset + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<std::size_t>(n);
    }
    // The end of a copy is in memory.
    while (m_file < 0 && done < size && offset + done >= m_written &&
           offset + done - m_written < m_pending.size()) {
        const std::size_t at = static_cast<std::size_t>(offset + done - m_written);
        const std::size_t count = std::min(size - done, m_pending.size() - at);
        std::copy_n(m_pending.data() + at, count, to + done);
        done += count;
    }
    return done;
}

std::string_view ContentWindow::peek(std::size_t count) {
    const std::uint64_t left = m_end - m_offset;
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, left));
    if (m_window.size() - m_begin < count) {
        m_window.erase(0, m_begin);
        m_begin = 0;
        const std::size_t kept = m_window.size();
        const std::uint64_t wanted = std::max(count, WINDOW);
        m_window.resize(static_cast<std::size_t>(std::min<std::uint64_t>(wanted, left)));
        m_window.resize(kept +
                        m_content->read(m_offset + kept, m_window.data() + kept, m_window.size() - kept));
    }
    return std::string_view(m_window).substr(m_begin);
}

}  // namespace host::importers
