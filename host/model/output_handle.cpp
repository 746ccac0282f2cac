#include "host/model/output_handle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/model/environment.h"
#include "host/model/files.h"

namespace host::model {

namespace {

constexpr int MAX_TEMPORARY_NAMES = 100;
constexpr std::size_t LONGEST_NAME = 255;  // of a file, in bytes

// Writes to `descriptor` and closes it. Returns 0 or an errno value.
int writeAndClose(int descriptor, const std::vector<char>& bytes) {
    int error = writeAll(descriptor, bytes.data(), bytes.size());
    if (::close(descriptor) != 0 && error == 0) error = errno;
    return error;
}

// A name for a file beside `name`; where it would be too long, less of `name` stands in it.
std::string nameBeside(const std::string& name, int number) {
    const std::string ending = "." + std::to_string(::getpid()) + "." + std::to_string(number) + ".tmp";
    const std::size_t begin = name.rfind('/') + 1;  // 0 without a folder
    return name.substr(0, begin) + name.substr(begin, LONGEST_NAME - ending.size()) + ending;
}

// Opens a file that does not exist yet beside `name`, and fills `temporary` with its path.
int openBeside(int folder, const std::string& name, std::string& temporary) {
    for (int i = 0; i < MAX_TEMPORARY_NAMES; ++i) {
        temporary = nameBeside(name, i);
        const int descriptor = openWithoutSurprise(folder, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL);
        if (descriptor >= 0 || errno != EEXIST) return descriptor;
    }
    return -1;
}

// Gives a new file the owner and mode of the one that it is to replace. Returns false if it may not have
// them.
bool takeOver(int descriptor, const struct stat& old) {
    struct stat now {};
    if (::fstat(descriptor, &now) != 0) return false;
    const bool hasOwner = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
    if (!hasOwner && ::fchown(descriptor, old.st_uid, old.st_gid) != 0) return false;
    return ::fchmod(descriptor, old.st_mode & 07777U) == 0;
}

// Why a file of that kind may not be replaced by a result, as an errno value; 0 if it may.
int obstacleOf(int folder, const std::string& name, const struct stat& status) {
    if (S_ISLNK(status.st_mode)) return ELOOP;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    if (!S_ISREG(status.st_mode)) return EEXIST;
    return ::faccessat(folder, name.c_str(), W_OK, 0) == 0 ? 0 : errno;
}

}  // namespace

OutputHandle::OutputHandle(const std::string& name, Environment& environment)
    : m_name(name), m_environment(environment) {}

OutputHandle::~OutputHandle() = default;

void OutputHandle::flush() {
    if (m_name.empty()) return;
    const int error = m_exists ? append_i() : create_i();
    if (error != 0) {
        m_environment.reportOutputFailure(m_name, error);
        return;
    }
    if (!m_exists) m_environment.results().note(m_name);
    m_exists = true;
}

int OutputHandle::folder_i() const {
    return m_environment.results().folderOf(m_name);
}

int OutputHandle::create_i() {
    struct stat status {};
    const bool isThere = ::fstatat(folder_i(), m_name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    if (isThere && S_ISCHR(status.st_mode)) return rewrite_i();
    if (isThere)
        if (const int obstacle = obstacleOf(folder_i(), m_name, status); obstacle != 0) return obstacle;
    bool canRewrite = isThere;
    const int error = replace_i(isThere ? &status : nullptr, canRewrite);
    return error != 0 && canRewrite ? rewrite_i() : error;
}

// Writes a file beside the one that it becomes. `old` is what is there now, or null. Clears `canRewrite` if
// the disk, and not the folder, stands in the way. Returns 0 or an errno value.
int OutputHandle::replace_i(const struct stat* old, bool& canRewrite) {
    std::string temporary;
    const int descriptor = openBeside(folder_i(), m_name, temporary);
    if (descriptor < 0) return errno;
    int error = 0;
    if (old != nullptr && !takeOver(descriptor, *old)) {
        error = errno;
        ::close(descriptor);
    } else {
        error = writeAndClose(descriptor, m_buffer);
        if (error != 0) canRewrite = false;
    }
    if (error == 0 && ::renameat(folder_i(), temporary.c_str(), folder_i(), m_name.c_str()) != 0)
        error = errno;
    if (error != 0) ::unlinkat(folder_i(), temporary.c_str(), 0);
    return error;
}

int OutputHandle::append_i() {
    const int descriptor = openWithoutSurprise(folder_i(), m_name.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW);
    if (descriptor < 0) return errno;
    struct stat before {};
    const bool isKnown = ::fstat(descriptor, &before) == 0;
    const int error = writeAll(descriptor, m_buffer.data(), m_buffer.size());
    // What was complete before stays so.
    if (error != 0 && isKnown && ::ftruncate(descriptor, before.st_size) != 0) {
        ::close(descriptor);
        return error;
    }
    return ::close(descriptor) != 0 && error == 0 ? errno : error;
}

int OutputHandle::rewrite_i() {
    const int descriptor = openWithoutSurprise(folder_i(), m_name.c_str(), O_WRONLY | O_TRUNC | O_NOFOLLOW);
    return descriptor < 0 ? errno : writeAndClose(descriptor, m_buffer);
}

}  // namespace host::model
