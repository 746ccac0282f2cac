#include "pwr/utilities.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>

#include "host/model/environment.h"
#include "host/model/files.h"
#include "host/model/number_text.h"
#include "host/model/value.h"
#include "plugins/numbers.h"
#include "pwr/plugin_requirement.h"

namespace {

// Translates a mode string of fopen into flags of open; -1 if it is none.
int flagsOf(const char* mode) {
    const bool isUpdated = std::strchr(mode, '+') != nullptr;
    int flags = isUpdated ? O_RDWR : O_WRONLY;
    switch (mode[0]) {
        case 'r':
            return isUpdated ? O_RDWR : O_RDONLY;
        case 'w':
            flags |= O_CREAT | O_TRUNC;
            break;
        case 'a':
            flags |= O_CREAT | O_APPEND;
            break;
        default:
            return -1;
    }
    return std::strchr(mode, 'x') != nullptr ? flags | O_EXCL : flags;
}

// Opens a link for appending that leads to a plain file of this user's: a place of their choice.
int openOwnLinked(int folder, const char* path, int flags) {
    const int descriptor = host::model::openWithoutSurprise(folder, path, flags & ~O_CREAT);
    struct stat status {};
    const bool isOwn = descriptor >= 0 && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
                       status.st_uid == ::geteuid();
    if (isOwn) return descriptor;
    if (descriptor >= 0) ::close(descriptor);
    errno = ELOOP;
    return -1;
}

// Opens the file and says whether this has created it.
int openOrCreate(int folder, const char* path, int flags, bool& isNew) {
    if ((flags & O_CREAT) != 0) {
        const int descriptor = host::model::openWithoutSurprise(folder, path, flags | O_EXCL);
        isNew = descriptor >= 0;
        if (isNew || errno != EEXIST) return descriptor;
    }
    const int descriptor = host::model::openWithoutSurprise(folder, path, flags);
    const bool isRefusedLink = descriptor < 0 && errno == ELOOP;
    if (!isRefusedLink || (flags & O_APPEND) == 0 || (flags & O_EXCL) != 0) return descriptor;
    return openOwnLinked(folder, path, flags);
}

// The results of the run; without an environment nobody asks for them.
host::model::Results* results() {
    auto* const environment = host::model::Environment::current();
    return environment != nullptr ? &environment->results() : nullptr;
}

// Notes the outcome for the host's end of the run, as not all writers say that they have no file; errno
// stays.
void noteResult(const char* path, bool isCreated) {
    if (results() == nullptr) return;
    const int error = errno;
    try {
        if (isCreated) {
            results()->note(path);
        } else {
            results()->noteUncreated(path, error);
        }
    } catch (const std::bad_alloc&) {
        // Its writer will not get far either.
    }
    errno = error;
}

// A value that is not a single number. Not inlined, to keep the way of the numbers short.
[[gnu::noinline]] void formatOther(std::string& out, const pwr::Data& value, int width, int precision) {
    if (!value.isNumeric()) {
        value.toFormattedString(out);
        return;
    }
    host::model::Value real;
    real.convertToReal(&value);
    std::pair<double, double> range;
    real.toRealRange(range);
    out.clear();
    host::model::appendReal(out, range.first, width, precision);
    out += " - ";
    host::model::appendReal(out, range.second, width, precision);
}

}  // namespace

int pw_snprintf(char* buffer, std::size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(buffer, size, format, args);
    va_end(args);
    return length;
}

int memcpy_s(void* destination, std::size_t destinationSize, const void* source, std::size_t count) {
    if (count == 0) return 0;
    if (destination == nullptr || source == nullptr) return EINVAL;
    if (count > destinationSize) return ERANGE;
    std::memcpy(destination, source, count);
    return 0;
}

namespace pwr {

const char* pw_strerror(int error, char* buffer, std::size_t size) {
    if (size != 0) std::snprintf(buffer, size, "%s", std::strerror(error));
    return buffer;
}

bool check_env(const char* name) {
    return std::getenv(name) != nullptr;
}

int mkpath(const std::string& path) {
    for (std::size_t end = 0; end != std::string::npos;) {
        end = path.find('/', end + 1);
        const std::string part = path.substr(0, end);
        if (part.empty() || ::mkdir(part.c_str(), 0777) == 0 || errno == EEXIST) continue;
        return -1;
    }
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return -1;
    if (S_ISDIR(status.st_mode)) return 0;
    errno = ENOTDIR;
    return -1;
}

bool openFileHandle(FILE** file, const char* path, const char* mode) {
    const int flags = flagsOf(mode);
    if (flags < 0) {
        errno = EINVAL;
        return false;
    }
    const bool isWritten = (flags & O_CREAT) != 0;
    const int folder = results() != nullptr ? results()->folderOf(path) : AT_FDCWD;
    bool isNew = false;
    const int descriptor = openOrCreate(folder, path, flags, isNew);
    if (descriptor < 0) {
        if (isWritten) noteResult(path, false);
        return false;
    }
    FILE* const opened = ::fdopen(descriptor, mode);
    if (opened == nullptr) {
        const int error = errno;
        ::close(descriptor);
        if (isNew) ::unlinkat(folder, path, 0);
        errno = error;
        if (isWritten) noteResult(path, false);
        return false;
    }
    if (isWritten) noteResult(path, true);
    *file = opened;
    return true;
}

Tokenizer::Tokenizer(const std::string& text, const char* delimiters)
    : m_text(text), m_delimiters(delimiters) {}

Tokenizer::~Tokenizer() = default;

std::vector<std::string> Tokenizer::get_all_tokens() const {
    std::vector<std::string> tokens;
    std::size_t begin = m_text.find_first_not_of(m_delimiters);
    while (begin != std::string::npos) {
        const std::size_t end = std::min(m_text.find_first_of(m_delimiters, begin), m_text.size());
        tokens.push_back(m_text.substr(begin, end - begin));
        begin = m_text.find_first_not_of(m_delimiters, end);
    }
    return tokens;
}

Formatter::~Formatter() = default;

RealFormatter::RealFormatter(int width, int precision) : m_width(width), m_precision(precision) {}

RealFormatter::~RealFormatter() = default;

void RealFormatter::format(std::string& out, const Data& value) const {
    double number = 0;
    if (!readNumber(value, number)) return formatOther(out, value, m_width, m_precision);
    out.clear();
    host::model::appendReal(out, number, m_width, m_precision);
}

PluginRequirement::~PluginRequirement() = default;

}  // namespace pwr
