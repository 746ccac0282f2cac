#include "host/emit/spool.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "host/base/unnamed_file.h"

namespace host::emit {

bool Spool::fail_i(const char* what) {
    m_error = std::string(what) + ": " + std::strerror(errno);
    return false;
}

bool Spool::append(std::string_view line) {
    if (!m_error.empty()) return false;
    if (m_pending.size() + line.size() + 1 > m_window && !m_pending.empty() && !spill_i()) return false;
    m_pending.append(line).push_back('\n');
    return true;
}

bool Spool::spill_i() {
    if (!m_file.isOpen()) {
        m_file = base::makeUnnamedFile();
        if (!m_file.isOpen()) return fail_i("Unable to make a temporary file in the working directory");
    }
    std::size_t done = 0;
    while (done < m_pending.size()) {
        const ssize_t n = ::pwrite(m_file.get(), m_pending.data() + done, m_pending.size() - done,
                                   static_cast<off_t>(m_written + done));
        if (n < 0 && errno == EINTR) continue;
        // The pending lines stay in memory: nothing of them counts as written.
        if (n < 0) return fail_i("Unable to write a temporary file in the working directory");
        done += static_cast<std::size_t>(n);
    }
    m_written += done;
    m_pending.clear();
    return true;
}

bool Spool::replay(const LineSink& sink) {
    std::vector<char> held(m_written > 0 ? std::max<std::size_t>(m_window, 1) : 0);
    std::size_t kept = 0;  // bytes read and not handed out, which begin with a line's start
    std::uint64_t at = 0;
    const auto handOut = [&](std::string_view text) {
        std::size_t start = 0;
        for (std::size_t end; (end = text.find('\n', start)) != std::string_view::npos; start = end + 1)
            if (!sink(text.substr(start, end - start))) return std::string_view::npos;
        return start;
    };
    while (at < m_written) {
        if (kept == held.size()) held.resize(held.size() * 2);
        const std::size_t most = std::min<std::uint64_t>(held.size() - kept, m_written - at);
        const ssize_t n = ::pread(m_file.get(), held.data() + kept, most, static_cast<off_t>(at));
        if (n < 0 && errno == EINTR) continue;
        if (n == 0) errno = EIO;
        if (n <= 0) return fail_i("Unable to read a temporary file back");
        const std::size_t size = kept + static_cast<std::size_t>(n);
        at += static_cast<std::uint64_t>(n);
        const std::size_t done = handOut({held.data(), size});
        if (done == std::string_view::npos) return false;
        kept = size - done;
        std::memmove(held.data(), held.data() + done, kept);
    }
    return handOut(m_pending) != std::string_view::npos;
}

}  // namespace host::emit
