#include "host/model/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace host::model {

int writeAll(int descriptor, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(descriptor, data, size);
        if (written < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

namespace {

// Opens the plain file of this user that a link of theirs, or of root, points to.
int openOwnTarget(int folder, const char* path, int flags) {
    struct stat status {};
    const bool isOwnLink = ::fstatat(folder, path, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                           (status.st_uid == ::geteuid() || status.st_uid == 0);
    const int descriptor = isOwnLink ? ::openat(folder, path, flags) : -1;
    if (descriptor >= 0) {
        if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid())
            return descriptor;
        ::close(descriptor);
    }
    errno = ELOOP;
    return -1;
}

}  // namespace

int openWithoutSurprise(int folder, const char* path, int flags) {
    if ((flags & O_CREAT) != 0) flags |= O_NOFOLLOW;
    flags |= O_NONBLOCK | O_CLOEXEC;
    int descriptor = ::openat(folder, path, flags, 0666);
    const bool appends = (flags & O_CREAT) != 0 && (flags & O_APPEND) != 0;
    if (descriptor < 0 && errno == ELOOP && appends)
        descriptor = openOwnTarget(folder, path, flags & ~(O_CREAT | O_NOFOLLOW));
    if (descriptor < 0) return -1;
    const int status = ::fcntl(descriptor, F_GETFL);
    if (status >= 0) ::fcntl(descriptor, F_SETFL, status & ~O_NONBLOCK);
    return descriptor;
}

}  // namespace host::model
