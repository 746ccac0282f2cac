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

int openWithoutSurprise(int folder, const char* path, int flags) {
    if ((flags & O_CREAT) != 0) flags |= O_NOFOLLOW;
    const int descriptor = ::openat(folder, path, flags | O_NONBLOCK | O_CLOEXEC, 0666);
    if (descriptor < 0) return -1;
    const int status = ::fcntl(descriptor, F_GETFL);
    if (status >= 0) ::fcntl(descriptor, F_SETFL, status & ~O_NONBLOCK);
    return descriptor;
}

}  // namespace host::model
