#include "host/record/watched_file.h"

#include <cerrno>
#include <cstring>

#include "host/base/text.h"

namespace host::record {

WatchedFile::WatchedFile(const SourceContext& context, const std::string& path, std::optional<unsigned> cpu)
    : m_context(&context), m_file(context.root, path), m_cpu(cpu) {
    std::vector<char> buffer;
    m_readable = m_file.isOpen() && !m_file.read(buffer).empty();
}

template <typename Read>
bool WatchedFile::read_i(Read read) {
    if (m_dropped) return false;
    if (m_failing) {
        if (!m_context->stat.isOnline(*m_cpu)) return false;
        m_file.reopen(m_context->root);
    }
    if (read()) {
        m_failing = false;
        return true;
    }
    fail_i();
    return false;
}

void WatchedFile::fail_i() {
    const int reason = errno;
    // A CPU may have left between the look at the list of CPUs and this read: only a second failure counts.
    const bool mayBeOffline = m_cpu && (!m_failing || !m_context->stat.isOnline(*m_cpu));
    m_failing = true;
    if (mayBeOffline) return;
    m_dropped = true;
    m_context->tell(m_file.path() + " can't be read any more and is left out from here on: " +
                    (reason != 0 ? std::strerror(reason) : "it holds nothing usable"));
}

bool WatchedFile::readUnsigned(std::uint64_t& value) {
    return read_i([&] { return m_file.readUnsigned(value); });
}

bool WatchedFile::readSigned(std::int64_t& value) {
    return read_i([&] { return m_file.readSigned(value); });
}

bool WatchedFile::readText(std::string_view& text, std::vector<char>& buffer) {
    return read_i([&] {
        text = base::trimmed(m_file.read(buffer));
        return !text.empty();
    });
}

}  // namespace host::record
