#include "host/record/watched_file.h"

#include <cerrno>
#include <cstring>

#include "host/base/text.h"

namespace host::record {

namespace {

constexpr int MOST_FAILURES = 5;

}  // namespace

WatchedFile::WatchedFile(const SourceContext& context, const std::string& path, std::optional<unsigned> cpu)
    : m_context(&context), m_file(context.root, path), m_cpu(cpu) {
    char first = 0;
    m_readable = m_file.isOpen() && m_file.readFirst(first);
    m_forbidden = !m_readable && (errno == EACCES || errno == EPERM);
}

template <typename Read>
bool WatchedFile::read_i(Read read) {
    if (m_dropped) return false;
    if (m_cpu && !m_context->stat.isOnline(*m_cpu)) {
        m_wasOffline = true;
        return false;
    }
    if (m_wasOffline || m_failures > 0) m_file.reopen(m_context->root);
    m_wasOffline = false;
    if (read()) {
        m_failures = 0;
        return true;
    }
    fail_i();
    return false;
}

void WatchedFile::fail_i() {
    const int reason = errno;
    if (++m_failures < MOST_FAILURES) return;
    m_dropped = true;
    m_context->note(m_file.path() + " can't be read any more and is left out from here on: " +
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
