#include "host/record/trace/trace_folder.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace host::record {

namespace {

// The folder that every mounted one has.
constexpr const char* EVENTS = "events";

bool mayBeRead(int folder) {
    const base::Descriptor events(::openat(folder, EVENTS, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return events.isOpen();
}

}  // namespace

TraceFolder::TraceFolder() {
    if (!openMounted_i()) mount_i();
}

// False if it is mounted nowhere.
bool TraceFolder::openMounted_i() {
    for (const char* path : {"/sys/kernel/tracing", "/sys/kernel/debug/tracing"}) {
        m_folder = base::Descriptor(::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (m_folder.isOpen() && mayBeRead(m_folder.get())) return true;
        const int reason = errno;
        m_folder = base::Descriptor();
        if (reason != EACCES && reason != EPERM) continue;
        m_error = std::string(path) + " may not be read: run as root, or mount it with a gid= that may";
        // Who may mount one of their own may read that.
    }
    return false;
}

void TraceFolder::mount_i() {
    const base::Descriptor context(::fsopen("tracefs", FSOPEN_CLOEXEC));
    if (context.isOpen() && ::fsconfig(context.get(), FSCONFIG_CMD_CREATE, nullptr, nullptr, 0) == 0)
        m_folder = base::Descriptor(::fsmount(context.get(), FSMOUNT_CLOEXEC,
                                              MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV | MOUNT_ATTR_NOEXEC));
    const int reason = errno;
    if (m_folder.isOpen() && mayBeRead(m_folder.get())) {
        m_error.clear();
        return;
    }
    m_folder = base::Descriptor();
    if (!m_error.empty()) return;
    if (reason == ENODEV)
        m_error = "this kernel has no tracefs";
    else
        m_error = std::string("tracefs is not mounted on /sys/kernel/tracing, and can't be: ") +
                  std::strerror(reason) + (reason == EPERM ? " (CAP_SYS_ADMIN is missing)" : "");
}

std::optional<std::string> TraceFolder::text(const std::string& path) const {
    const base::Descriptor file(::openat(m_folder.get(), path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) return std::nullopt;
    std::string text;
    char piece[4096];
    for (;;) {
        const ssize_t count = ::read(file.get(), piece, sizeof piece);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) return text;
        text.append(piece, static_cast<std::size_t>(count));
    }
}

}  // namespace host::record
