#include "host/emit/save_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "host/base/transfer.h"
#include "host/base/user_folder.h"

namespace host::emit {

SaveFile::SaveFile(std::string path) : m_path(std::move(path)) {
    // Not to block on a pipe, nor to write through a link that someone else has put there.
    constexpr int mode = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    if (m_path == "-") {
        m_path = "standard output";
        m_file = base::Descriptor(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
        if (!m_file.isOpen()) fail_i("Unable to write");
        return;
    }
    m_file = base::Descriptor(::openat(base::userFolder(), m_path.c_str(), mode, 0666));
    if (m_path.ends_with(".zst")) m_frame = std::make_unique<ZstdFrame>();
    if (m_file.isOpen())
        ::fcntl(m_file.get(), F_SETFL, ::fcntl(m_file.get(), F_GETFL) & ~O_NONBLOCK);
    else
        fail_i("Unable to create");
}

void SaveFile::fail_i(const char* what) {
    if (m_error.empty()) m_error = std::string(what) + " " + m_path + ": " + std::strerror(errno);
}

void SaveFile::append(std::string_view line) {
    if (!m_error.empty()) return;
    m_pending.append(line).push_back('\n');
    if (m_pending.size() >= 65536) flush();
}

void SaveFile::write_i(bool isLast) {
    std::string_view left = m_pending;
    m_compressed.clear();
    if (m_frame != nullptr) {
        m_frame->compress(m_pending, isLast, m_compressed);
        left = m_compressed;
    }
    if (m_error.empty() && base::writeAll(m_file.get(), left) != 0) fail_i("Unable to write");
    m_pending.clear();
}

bool SaveFile::flush() {
    if (!m_pending.empty()) write_i(false);
    return m_error.empty();
}

bool SaveFile::finish() {
    if (m_file.isOpen()) write_i(true);
    if (m_file.isOpen() && ::close(m_file.release()) != 0) fail_i("Unable to complete");
    return m_error.empty();
}

}  // namespace host::emit
