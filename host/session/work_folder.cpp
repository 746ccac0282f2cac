#include "host/session/work_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "host/base/complain.h"
#include "host/base/user_folder.h"

namespace host::session {

namespace {

constexpr const char* PREFIX = ".pwrhost-";
constexpr const char* LOCK = "/lock";
constexpr std::size_t RANDOM_CHARACTERS = 6;
constexpr int ATTEMPTS = 3;

// The C library's functions are used throughout: those of std::filesystem end the process without memory.

// Removes the folder with all that is in it, and follows no link. Returns false with errno set.
bool removeAll(const std::string& path) {
    constexpr int OPEN_FOLDERS = 16;
    const auto remove = [](const char* name, const struct stat*, int, struct FTW*) { return ::remove(name); };
    return ::nftw(path.c_str(), remove, OPEN_FOLDERS, FTW_DEPTH | FTW_PHYS) == 0;
}

// The working directory's absolute path, empty if it has none.
std::string workingDirectory() {
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    const std::unique_ptr<char, Free> path(::getcwd(nullptr, 0));
    return path != nullptr ? path.get() : "";
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
    struct Close {
        void operator()(DIR* folder) const { ::closedir(folder); }
    };
    const std::unique_ptr<DIR, Close> folder(::opendir(parent.c_str()));
    while (const dirent* const entry = folder != nullptr ? ::readdir(folder.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        if (name.starts_with(PREFIX) && name.size() == std::strlen(PREFIX) + RANDOM_CHARACTERS)
            removeIfAbandoned(parent + "/" + std::string(name));
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

void WorkFolder::forget() {
    m_path.clear();
    m_lockPath.clear();
    m_lock = base::Descriptor();
}

bool WorkFolder::make(const std::vector<std::string>& parents, std::string& error) {
    for (const std::string& parent : parents) {
        if (makeBelow_i(parent)) return true;
        if (error.empty()) error = parent + ": " + std::strerror(errno);
    }
    return false;
}

bool WorkFolder::makeBelow_i(const std::string& parent) {
    std::string absolute = parent;
    if (!parent.starts_with('/')) absolute = workingDirectory() + (parent == "." ? "" : "/" + parent);
    removeAbandoned(absolute);
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        std::string path = absolute + "/" + PREFIX;
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
    m_originPath = workingDirectory();
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
