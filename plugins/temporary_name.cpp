#include "plugins/temporary_name.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace temporary_name {

namespace {

// Says on a file that its name is taken, to whichever process has it open.
constexpr mode_t NAME_IS_TAKEN = S_IXUSR;

void closeAndKeepReason(int descriptor) {
    const int reason = errno;
    close(descriptor);
    errno = reason;
}

// True if the file is a plain one of this user under one name, so that removing it harms nobody.
bool isOwnPlainFile(const struct stat& status) {
    return S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == geteuid();
}

}  // namespace

bool vacate(const char* path) {
    const int descriptor = open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return errno == ENOENT;
    struct stat status {};
    bool isFree = fstat(descriptor, &status) == 0;
    if (isFree && !isOwnPlainFile(status)) {
        errno = EEXIST;
        isFree = false;
    }
    if (isFree) {
        fchmod(descriptor, status.st_mode | NAME_IS_TAKEN);
        isFree = unlink(path) == 0 || errno == ENOENT;
    }
    closeAndKeepReason(descriptor);
    return isFree;
}

// Where nothing can be locked, nobody else does.
bool claim(int descriptor) {
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

void release(int descriptor) {
    flock(descriptor, LOCK_UN);
}

bool isTaken(int descriptor, const char* path) {
    struct stat own {};
    struct stat there {};
    if (fstat(descriptor, &own) != 0) return false;
    // No other file can have its inode number while it is open.
    if (lstat(path, &there) == 0) return there.st_dev != own.st_dev || there.st_ino != own.st_ino;
    return (own.st_mode & NAME_IS_TAKEN) != 0;
}

}  // namespace temporary_name
