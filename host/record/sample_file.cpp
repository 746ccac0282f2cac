#include "host/record/sample_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "host/base/text.h"
#include "host/base/user_folder.h"

namespace host::record {

namespace {

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};

// Number that `name` ends in, to put "cpu10" after "cpu9".
std::uint64_t trailingNumber(const std::string& name) {
    const std::size_t digits = name.find_last_not_of("0123456789") + 1;
    std::string_view tail = std::string_view(name).substr(digits);
    std::uint64_t number = 0;
    base::takeUnsigned(tail, number);
    return number;
}

bool isNaturallyLess(const std::string& a, const std::string& b) {
    const std::string_view stemA(a.data(), a.find_last_not_of("0123456789") + 1);
    const std::string_view stemB(b.data(), b.find_last_not_of("0123456789") + 1);
    if (stemA != stemB) return a < b;
    return std::pair(trailingNumber(a), a) < std::pair(trailingNumber(b), b);
}

bool isSameFolder(int folder, const char* path) {
    struct stat one {};
    struct stat other {};
    return ::fstat(folder, &one) == 0 && ::stat(path, &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

long openConfined(int folder, const char* path, int flags) {
    open_how how{};
    how.flags = static_cast<std::uint64_t>(flags);
    how.resolve = RESOLVE_IN_ROOT;
    return ::syscall(SYS_openat2, folder, path, &how, sizeof how);
}

// Kernels before 5.6 can't.
bool canConfine() {
    return base::Descriptor(static_cast<int>(openConfined(AT_FDCWD, ".", O_PATH | O_CLOEXEC))).isOpen();
}

// Any file that is renamed meanwhile, by whomever, can make the kernel give up on a path with "..".
constexpr int MOST_TRIES = 100;

}  // namespace

Root::Root(const std::string& folder)
    : m_path(folder),
      m_folder(::openat(base::userFolder(), folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
      m_isThisMachine(isOpen() && isSameFolder(m_folder.get(), "/")),
      m_isConfined(isOpen() && !m_isThisMachine && canConfine()) {}

base::Descriptor Root::open_i(const std::string& path, int flags) const {
    if (!m_isConfined) return base::Descriptor(::openat(m_folder.get(), path.c_str(), flags));
    long file = -1;
    errno = EAGAIN;
    for (int tries = MOST_TRIES; tries > 0 && file < 0 && errno == EAGAIN; --tries)
        file = openConfined(m_folder.get(), path.c_str(), flags);
    return base::Descriptor(static_cast<int>(file));
}

base::Descriptor Root::open(const std::string& path) const {
    return open_i(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}

base::Descriptor Root::openFolder(const std::string& path) const {
    return open_i(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

std::string Root::text(const std::string& path) const {
    const SampleFile file(*this, path);
    if (!file.isOpen()) return {};
    std::vector<char> buffer(4096);  // a page, as most such files have no more
    return std::string(base::trimmed(file.read(buffer)));
}

std::vector<std::string> Root::names(const std::string& folder, std::string_view prefix) const {
    std::vector<std::string> found;
    base::Descriptor descriptor = openFolder(folder);
    if (!descriptor.isOpen()) return found;
    const std::unique_ptr<DIR, FolderCloser> entries(fdopendir(descriptor.get()));
    if (!entries) return found;
    descriptor.release();
    while (const dirent* entry = readdir(entries.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != ".." && name.starts_with(prefix)) found.emplace_back(name);
    }
    std::sort(found.begin(), found.end(), isNaturallyLess);
    return found;
}

std::vector<std::string> Root::folders(const std::string& folder) const {
    std::vector<std::string> found;
    base::Descriptor descriptor = openFolder(folder);
    if (!descriptor.isOpen()) return found;
    const std::unique_ptr<DIR, FolderCloser> entries(fdopendir(descriptor.get()));
    if (!entries) return found;
    const int number = descriptor.release();
    while (const dirent* entry = readdir(entries.get())) {
        const std::string_view name = entry->d_name;
        struct stat status {};
        const bool isFolder =
            entry->d_type == DT_DIR ||
            (entry->d_type == DT_UNKNOWN &&
             ::fstatat(number, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode));
        if (isFolder && name != "." && name != "..") found.emplace_back(name);
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::string Root::link(const std::string& path) const {
    char target[4096];
    const base::Descriptor link =
        m_isConfined ? open_i(path, O_PATH | O_NOFOLLOW | O_CLOEXEC) : base::Descriptor();
    const ssize_t length = m_isConfined ? ::readlinkat(link.get(), "", target, sizeof target)
                                        : ::readlinkat(m_folder.get(), path.c_str(), target, sizeof target);
    return length <= 0 ? std::string() : std::string(target, static_cast<std::size_t>(length));
}

SampleFile::SampleFile(const Root& root, std::string path) : m_path(std::move(path)) {
    reopen(root);
}

void SampleFile::reopen(const Root& root) {
    m_descriptor = root.open(m_path);
}

std::string_view SampleFile::readInto(char* buffer, std::size_t size) const {
    ssize_t length = 0;
    do {
        errno = 0;
        length = ::pread(m_descriptor.get(), buffer, size, 0);
    } while (length < 0 && errno == EINTR);
    return length <= 0 ? std::string_view() : std::string_view(buffer, static_cast<std::size_t>(length));
}

std::string_view SampleFile::read(std::vector<char>& buffer) const {
    constexpr std::size_t limit = std::size_t{64} << 20;
    if (buffer.empty()) buffer.resize(16384);
    // The kernel makes such a file anew for every read from its start, so it must fit in one.
    for (;;) {
        const std::string_view content = readInto(buffer.data(), buffer.size());
        if (content.size() < buffer.size() || buffer.size() >= limit) return content;
        buffer.resize(buffer.size() * 4);
    }
}

bool SampleFile::readUnsigned(std::uint64_t& value) const {
    char buffer[64];
    std::string_view content = readInto(buffer, sizeof buffer);
    return base::takeUnsigned(content, value);
}

bool SampleFile::readFirst(char& character) const {
    return !readInto(&character, 1).empty();
}

bool SampleFile::readSigned(std::int64_t& value) const {
    char buffer[64];
    const std::string_view content = readInto(buffer, sizeof buffer);
    return std::from_chars(content.data(), content.data() + content.size(), value).ec == std::errc();
}

}  // namespace host::record
