#include "host/model/output_handle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "host/model/environment.h"
#include "host/model/files.h"

namespace host::model {

namespace {

constexpr int MAX_TEMPORARY_NAMES = 100;

// Writes to `descriptor` and closes it. Returns 0 or an errno value.
int writeAndClose(int descriptor, const std::vector<char>& bytes) {
    int error = writeAll(descriptor, bytes.data(), bytes.size());
    if (::close(descriptor) != 0 && error == 0) error = errno;
    return error;
}

// Opens a file that does not exist yet beside `name`, and fills `temporary` with its path.
int openBeside(const std::string& name, std::string& temporary) {
    for (int i = 0; i < MAX_TEMPORARY_NAMES; ++i) {
        temporary = name + "." + std::to_string(::getpid()) + "." + std::to_string(i) + ".tmp";
        const int descriptor = openWithoutSurprise(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL);
        if (descriptor >= 0 || errno != EEXIST) return descriptor;
    }
    return -1;
}

// Why a file of that kind may not be replaced by a result, as an errno value; 0 if it may.
int obstacleOf(const std::string& name, const struct stat& status) {
    if (S_ISLNK(status.st_mode)) return ELOOP;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    if (!S_ISREG(status.st_mode)) return EEXIST;
    return ::access(name.c_str(), W_OK) == 0 ? 0 : errno;
}

}  // namespace

OutputHandle::OutputHandle(const std::string& name, Environment& environment)
    : m_name(name), m_environment(environment) {}

OutputHandle::~OutputHandle() = default;

void OutputHandle::flush() {
    if (m_name.empty()) return;
    const int error = m_exists ? append_i() : create_i();
    if (error == 0) {
        m_exists = true;
    } else {
        m_environment.reportOutputFailure(m_name, error);
    }
}

int OutputHandle::create_i() {
    struct stat status {};
    if (::lstat(m_name.c_str(), &status) == 0) {
        if (S_ISCHR(status.st_mode)) return writeThrough_i();
        if (const int obstacle = obstacleOf(m_name, status); obstacle != 0) return obstacle;
    }
    return createBeside_i();
}

int OutputHandle::createBeside_i() {
    std::string temporary;
    const int descriptor = openBeside(m_name, temporary);
    if (descriptor < 0) return errno;
    int error = writeAndClose(descriptor, m_buffer);
    if (error == 0 && std::rename(temporary.c_str(), m_name.c_str()) != 0) error = errno;
    if (error != 0) ::unlink(temporary.c_str());
    return error;
}

int OutputHandle::append_i() {
    const int descriptor = openWithoutSurprise(m_name.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW);
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

int OutputHandle::writeThrough_i() {
    const int descriptor = openWithoutSurprise(m_name.c_str(), O_WRONLY);
    return descriptor < 0 ? errno : writeAndClose(descriptor, m_buffer);
}

}  // namespace host::model
