#include "host/session/work_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <utility>

#include "host/base/complain.h"
#include "host/base/user_folder.h"

namespace host::session {

namespace {

constexpr const char* PREFIX = ".pwrhost-";
constexpr const char* LOCK = "/lock";
constexpr std::size_t RANDOM_CHARACTERS = 6;
constexpr int ATTEMPTS = 3;

// Removes the folder with all that is in it, and follows no link. Returns false with errno set.
bool removeAll(const std::string& path) {
    std::error_code problem;
    std::filesystem::remove_all(path, problem);
    errno = problem.value();
    return !problem;
}

bool isOwnFolder(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid();
}

// Removes the folder of a process that is no more. One without a lock file may be about to get it.
void removeIfAbandoned(const std::string& path) {
    if (!isOwnFolder(path)) return;
    const base::Descriptor lock(::open((path + LOCK).c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
    if (!lock.isOpen() || ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) return;
    if (removeAll(path)) base::complain("removed " + path + ", which a killed run has left");
}

void removeAbandoned(const std::string& parent) {
    std::error_code problem;
    std::filesystem::directory_iterator entries(parent, problem);
    while (!problem && entries != std::filesystem::directory_iterator()) {
        const std::string name = entries->path().filename().string();
        if (name.starts_with(PREFIX) && name.size() == std::strlen(PREFIX) + RANDOM_CHARACTERS)
            removeIfAbandoned(entries->path().string());
        entries.increment(problem);
    }
}

}  // namespace

WorkFolder::~WorkFolder() {
    try {
        leave();
    } catch (const std::bad_alloc&) {
        // The next run removes it.
    }
}

bool WorkFolder::make(const std::vector<std::string>& parents, std::string& error) {
    for (const std::string& parent : parents) {
        if (makeBelow_i(parent)) return true;
        if (error.empty()) error = parent + ": " + std::strerror(errno);
    }
    return false;
}

bool WorkFolder::makeBelow_i(const std::string& parent) {
    std::error_code problem;
    const std::string absolute = std::filesystem::absolute(parent, problem).string();
    removeAbandoned(absolute);
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        std::string path = absolute + (absolute.ends_with('/') ? "" : "/") + PREFIX;
        path.append(RANDOM_CHARACTERS, 'X');
        if (::mkdtemp(path.data()) == nullptr) return false;
        m_path = path;
        m_lockPath = path + LOCK;
        if (lock_i()) return true;
        const int reason = errno;
        remove_i();
        errno = reason;
        if (reason != EWOULDBLOCK) break;
    }
    return false;
}

// Another process may take the folder for an abandoned one before the lock is held: EWOULDBLOCK then.
bool WorkFolder::lock_i() {
    m_lock = base::Descriptor(::open(m_lockPath.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!m_lock.isOpen()) return false;
    // Where nothing can be locked, nobody takes the folder for abandoned.
    if (::flock(m_lock.get(), LOCK_EX | LOCK_NB) != 0) return errno != EWOULDBLOCK;
    struct stat status {};
    errno = EWOULDBLOCK;
    return ::fstat(m_lock.get(), &status) == 0 && status.st_nlink > 0;
}

// Needs no memory if the writers have left nothing.
bool WorkFolder::remove_i() {
    if (m_path.empty()) return true;
    ::unlink(m_lockPath.c_str());
    if (::rmdir(m_path.c_str()) != 0 && !removeAll(m_path)) return false;
    m_path.clear();
    return true;
}

bool WorkFolder::enter() {
    std::error_code problem;
    m_originPath = std::filesystem::current_path(problem).string();
    base::Descriptor origin(::open(".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!origin.isOpen() || ::chdir(m_path.c_str()) != 0) return false;
    m_origin = std::move(origin);
    base::setUserFolder(m_origin);
    return true;
}

bool WorkFolder::leave() {
    if (m_origin.isOpen()) {
        if (::fchdir(m_origin.get()) != 0) return false;
        m_origin = base::Descriptor();
        base::setUserFolder(m_origin);
    }
    const bool isGone = remove_i();
    const int reason = errno;
    m_lock = base::Descriptor();
    errno = reason;
    return isGone;
}

}  // namespace host::session
