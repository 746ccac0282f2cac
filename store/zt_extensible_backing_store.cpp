#include "store/zt_extensible_backing_store.h"

#include <fcntl.h>
#include <unistd.h>
#include <ext/stdio_filebuf.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "plugins/log.h"
#include "plugins/memory_pages.h"
#include "plugins/temporary_name.h"
#include "pwr/plugin_environment.h"
#include "pwr/utilities.h"

namespace pwr {

namespace {

constexpr std::size_t ERROR_TEXT_SIZE = 256;
constexpr std::uint64_t SMALL_WINDOW = 65536;
constexpr std::size_t BACKING_STEP = 131072;

// Reports a failure of the temporary file through the stream form of the log, and leaves errno as it is.
void report(const char* what) {
    const int reason = errno;
    char text[ERROR_TEXT_SIZE] = "";
    pw_strerror(reason, text, sizeof(text));
    const PluginEnvironment& environment = *g_pluginEnvironment;
    std::ostream* stream = environment.m_discardStream;
    if (environment.m_logLevel >= static_cast<std::int32_t>(LogLevel::Warning)) {
        stream = environment.m_infoLog;
        if (stream != nullptr)
            *stream << static_cast<std::int32_t>(LogLevel::Warning) << "WARNING"
                    << ": ";
    }
    if (stream != nullptr) *stream << what << ": errnum=" << reason << ": " << text << std::endl;
    errno = reason;
}

int createExclusively(const char* path) {
    return open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

// Creates a file at `path`, which others can foretell: it is never one that was there before. Returns the
// descriptor, or -1 with errno set.
int createFile(const char* path) {
    const int descriptor = createExclusively(path);
    if (descriptor >= 0 || errno != EEXIST) return descriptor;
    return temporary_name::vacate(path) ? createExclusively(path) : -1;
}

}  // namespace

bool ZTExtensibleBackingStore::s_wasWorkingDirCreated = false;

ZTExtensibleBackingStore::ZTExtensibleBackingStore(unsigned long maximumBufferSize)
    : m_dirty(false),
      m_readHead(0),
      m_writeHead(0),
      m_size(0),
      m_windowStart(0),
      m_maximumBufferSize(maximumBufferSize),
      m_bufferSize(0),
      m_bufferCapacity(0),
      m_backed(0) {
    if (init_i()) return;
    const int reason = errno;
    char text[ERROR_TEXT_SIZE] = "";
    pw_strerror(reason, text, sizeof(text));
    LOG_ERROR("Failed to initialize temporary file %s: errnum=%d: %s\n", m_path.c_str(), reason, text);
    throw "Couldn't initialize buffer\n";
}

ZTExtensibleBackingStore::~ZTExtensibleBackingStore() {
    destroy_i();
}

bool ZTExtensibleBackingStore::prepareWorkingDir_i() {
    if (s_wasWorkingDirCreated) return true;
    s_wasWorkingDirCreated = mkpath("./") == 0;
    if (!s_wasWorkingDirCreated) {
        const int reason = errno;
        LOG_WARNING("couldn't prepare working directory for ZTExtensibleBackingStore!\n");
        errno = reason;
    }
    return s_wasWorkingDirCreated;
}

std::string ZTExtensibleBackingStore::getUniquePath() {
    return "./_" + std::to_string(getpid()) + "_" + std::to_string(std::rand());
}

bool ZTExtensibleBackingStore::init_i() {
    if (!prepareWorkingDir_i()) return false;
    m_path = getUniquePath();
    if (!enlargeBuffer_i(1)) return false;
    if (createFile_i()) return true;
    report("open error");
    return false;
}

bool ZTExtensibleBackingStore::createFile_i() {
    const int descriptor = createFile(m_path.c_str());
    if (descriptor < 0) return false;
    try {
        // The window is the buffer: without one of its own, the stream reports a failed write when it
        // happens.
        __gnu_cxx::stdio_filebuf<char> opened(descriptor, std::ios::in | std::ios::out | std::ios::binary, 1);
        if (opened.is_open()) {
            *m_file.rdbuf() = std::move(opened);
            m_descriptor = descriptor;
            return true;
        }
        close(descriptor);
    } catch (const std::bad_alloc&) {
        // The descriptor was taken over, and went with the buffer.
    }
    unlink(m_path.c_str());
    errno = ENOMEM;
    return false;
}

void ZTExtensibleBackingStore::destroy_i() {
    if (!m_file.is_open()) return;
    const bool isTaken = temporary_name::isTaken(m_descriptor, m_path.c_str());
    m_file.close();
    if (isTaken) return;
    if (unlink(m_path.c_str()) != 0) {
        LOG_DEBUG("couldn't unlink tmp file %s: %s\n", m_path.c_str(), std::strerror(errno));
    }
}

// How many bytes of the data lie in the window from `position` on.
std::uint64_t ZTExtensibleBackingStore::readableFrom(std::uint64_t position) const {
    const std::uint64_t end = std::min(windowEnd(), m_size);
    return isInWindow(position) && position < end ? end - position : 0;
}

// The start of a full window that ends at `position`, or 0.
std::uint64_t ZTExtensibleBackingStore::windowThatEndsAt(std::uint64_t position) const {
    return position > m_bufferSize ? position - m_bufferSize : 0;
}

// Puts the window into the file. It stays where it is: only a caller that has filled it anew moves it.
bool ZTExtensibleBackingStore::flush_i() {
    if (!m_dirty) return true;
    errno = 0;
    if (!m_file.seekg(static_cast<std::streamoff>(m_windowStart))) {
        report("seekg error");
        return false;
    }
    // Only what lies below the write head: none of it if the head was moved in front of the window.
    const std::uint64_t below = m_writeHead > m_windowStart ? m_writeHead - m_windowStart : 0;
    const std::uint64_t length = std::min<std::uint64_t>(below, m_bufferSize);
    if (!m_file.write(m_buffer.get(), static_cast<std::streamsize>(length))) {
        report("write error while flushing to disk!\n");
        return false;
    }
    m_dirty = false;
    return true;
}

bool ZTExtensibleBackingStore::rewind_i(unsigned long position) {
    const bool isThere = m_dirty && m_windowStart == position;
    const std::uint64_t held = isThere && m_writeHead > position ? m_writeHead - position : 0;
    if (!flush_i()) {
        std::fputs("ERROR flushing dirty buffer while rewinding!\n", stderr);
        return false;
    }
    const std::uint64_t available = position < m_size ? m_size - position : 0;
    const std::uint64_t length = std::min<std::uint64_t>(m_bufferSize, available);
    if (length <= held) {
        // What has just been written need not be read.
        m_windowStart = position;
        return true;
    }
    errno = 0;
    if (!m_file.seekg(static_cast<std::streamoff>(position))) {
        report("seekg error");
        return false;
    }
    m_windowStart = position;
    if (length == 0) return true;
    if (!m_file.read(m_buffer.get(), static_cast<std::streamsize>(length))) {
        report("read error");
        // What the window holds of another place must not be taken for this one.
        if (!isThere) m_windowStart = m_size + 1;
        return false;
    }
    return true;
}

// Makes room at a write head that stands at the end of the data and of the window.
bool ZTExtensibleBackingStore::extendWindow_i() {
    // Without memory for a larger window, go on with the window as it is.
    if (m_bufferSize < m_maximumBufferSize &&
        enlargeBuffer_i(std::min(m_bufferSize * 2, m_maximumBufferSize))) {
        return true;
    }
    if (!flush_i()) return false;
    m_windowStart = m_writeHead;
    return true;
}

// Beyond a small size, takes all the room that there will be at once: growing then copies nothing, and pages
// count only once they are written.
bool ZTExtensibleBackingStore::enlargeBuffer_i(std::uint64_t size) {
    if (size > m_bufferCapacity) {
        const std::uint64_t capacity = size > SMALL_WINDOW ? m_maximumBufferSize : size;
        if (!resizeBlock(m_buffer, capacity)) return false;
        m_bufferCapacity = capacity;
    }
    m_bufferSize = size;
    return true;
}

// Has memory put after the first `end` bytes of the window, and some more while at it.
void ZTExtensibleBackingStore::backUpTo_i(std::uint64_t end) {
    if (end <= m_backed) return;
    const std::uint64_t steps = (end + BACKING_STEP - 1) / BACKING_STEP;
    const std::uint64_t wanted = std::min<std::uint64_t>(m_bufferSize, steps * BACKING_STEP);
    if (wanted > SMALL_WINDOW) memory_pages::request(m_buffer.get() + m_backed, wanted - m_backed);
    m_backed = wanted;
}

std::int64_t ZTExtensibleBackingStore::write(const void* source, unsigned long count) {
    m_writeHead = std::min(m_writeHead, m_size);
    if (!isInWindow(m_writeHead) && !rewind_i(m_writeHead)) return -1;
    const char* const from = static_cast<const char*>(source);
    unsigned long written = 0;
    while (written < count) {
        const std::uint64_t room = isInWindow(m_writeHead) ? windowEnd() - m_writeHead : 0;
        const std::uint64_t length = std::min<std::uint64_t>(room, count - written);
        if (length > 0) {
            const std::uint64_t offset = m_writeHead - m_windowStart;
            backUpTo_i(offset + length);
            std::memcpy(m_buffer.get() + offset, from + written, length);
            m_writeHead += length;
            written += length;
            m_size = std::max(m_size, m_writeHead);
            m_dirty = true;
        } else if (m_writeHead != m_size) {
            if (!rewind_i(m_writeHead)) return -1;
        } else if (!extendWindow_i()) {
            return -1;
        }
    }
    return static_cast<std::int64_t>(count);
}

std::int64_t ZTExtensibleBackingStore::read(void* destination, unsigned long count) {
    if (m_readHead > m_size) return -1;
    if (!isInWindow(m_readHead) && !rewind_i(m_readHead)) return -1;
    char* const to = static_cast<char*>(destination);
    unsigned long done = 0;
    while (done < count && m_readHead < m_size) {
        const std::uint64_t length = std::min<std::uint64_t>(count - done, readableFrom(m_readHead));
        if (length == 0) {
            if (!rewind_i(m_readHead)) return -1;
            continue;
        }
        std::memcpy(to + done, m_buffer.get() + (m_readHead - m_windowStart), length);
        m_readHead += length;
        done += length;
    }
    return static_cast<std::int64_t>(done);
}

std::int64_t ZTExtensibleBackingStore::peek(void* destination, unsigned long count) {
    if (m_readHead > m_size) return -1;
    if (m_readHead < m_windowStart && !rewind_i(m_readHead)) return -1;
    const std::uint64_t saved = m_readHead;
    char* const to = static_cast<char*>(destination);
    unsigned long done = 0;
    bool moved = false;
    while (done < count && m_readHead < m_size) {
        const std::uint64_t length = std::min<std::uint64_t>(count - done, readableFrom(m_readHead));
        if (length == 0) {
            moved = true;
            if (!rewind_i(m_readHead)) break;
            continue;
        }
        std::memcpy(to + done, m_buffer.get() + (m_readHead - m_windowStart), length);
        m_readHead += length;
        done += length;
    }
    m_readHead = saved;
    if (moved) rewind_i(saved);
    return static_cast<std::int64_t>(done);
}

std::int64_t ZTExtensibleBackingStore::readBack(void* destination, unsigned long count) {
    if (m_readHead > m_size) return -1;
    if (!isInWindow(m_readHead) && !rewind_i(windowThatEndsAt(m_readHead))) return -1;
    char* const to = static_cast<char*>(destination);
    unsigned long remaining = count;
    while (remaining > 0 && m_readHead > 0) {
        const std::uint64_t length = std::min<std::uint64_t>(remaining, m_readHead - m_windowStart);
        if (length == 0) {
            if (!rewind_i(windowThatEndsAt(m_readHead))) return -1;
            continue;
        }
        remaining -= length;
        m_readHead -= length;
        std::memcpy(to + remaining, m_buffer.get() + (m_readHead - m_windowStart), length);
    }
    return static_cast<std::int64_t>(count - remaining);
}

void ZTExtensibleBackingStore::resetForRead() {
    m_readHead = 0;
    if (!rewind_i(0)) LOG_WARNING("WARNING: couldn't reset buffer for reading!\n");
}

void ZTExtensibleBackingStore::resetForReadBack() {
    m_readHead = m_size;
    if (!rewind_i(windowThatEndsAt(m_size))) LOG_WARNING("WARNING: couldn't reset buffer for reading!\n");
}

void ZTExtensibleBackingStore::rewind(unsigned long count) {
    if (count > m_readHead) {
        std::fputs("ERROR: trying to rewind past the start of the buffer?!\n", stderr);
        return;
    }
    if (!rewind_i(m_readHead - count)) {
        std::fprintf(stderr, "ERROR: couldn't rewind %zu bytes\n", static_cast<std::size_t>(count));
        return;
    }
    m_readHead -= count;
}

std::unique_ptr<ZTBufferProvider> ZTExtensibleBackingStore::clone(unsigned long) {
    return std::make_unique<ZTExtensibleBackingStore>(WINDOW_LIMIT);
}

std::int32_t ZTExtensibleBackingStore::insert(unsigned long position, const void* source,
                                              unsigned long count) {
    if (position > size()) return -1;
    if (count == 0) return 0;
    // Before the heads leave the window, while the write head still says what of it is to be kept.
    if (!isInWindow(position) && !rewind_i(position)) return -1;
    const MemoryBlock first = makeBlock(count);
    const MemoryBlock second = makeBlock(count);
    if (first == nullptr || second == nullptr) return -1;
    char* scratch[2] = {first.get(), second.get()};
    const std::uint64_t saved = m_readHead;
    m_readHead = m_writeHead = position;
    bool complete = true;
    insertBlocks_i(static_cast<const char*>(source), scratch, count, complete);
    m_readHead = saved;
    return complete ? 0 : -1;
}

// Writes block after block over the data, each one read just before its place is taken.
void ZTExtensibleBackingStore::insertBlocks_i(const char* source, char* scratch[2], unsigned long count,
                                              bool& complete) {
    const char* current = source;
    unsigned long length = count;
    while (length != 0 && current != nullptr) {
        char* next = nullptr;
        unsigned long nextLength = 0;
        if (length == count) {
            next = current == scratch[0] ? scratch[1] : scratch[0];
            const std::int64_t taken = read(next, count);
            complete = complete && taken >= 0;
            nextLength = taken > 0 ? static_cast<unsigned long>(taken) : 0;
        }
        if (write(current, length) < 0) {
            complete = false;
            return;
        }
        current = next;
        length = nextLength;
    }
}

}  // namespace pwr
