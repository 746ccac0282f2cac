#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>

#include "plugins/memory_block.h"
#include "store/zt_buffer_provider.h"

namespace pwr {

// A byte store that keeps one window of its data in memory and the rest in a temporary file.
//
// The window starts with room for one byte and doubles up to a limit; when a write comes to the end of a full
// window, the window is written to the file and goes on after it. The file lies in the working directory and
// goes with the store. One thread at a time.
class ZTExtensibleBackingStore final : public ZTBufferProvider {
public:
    // The limit of the window in all stores of the writers.
    static constexpr unsigned long WINDOW_LIMIT = 1048576;

    // Opens an empty store whose window grows up to `maximumBufferSize` bytes. Throws a `const char*` if the
    // temporary file can't be opened.
    explicit ZTExtensibleBackingStore(unsigned long maximumBufferSize);
    ZTExtensibleBackingStore(const ZTExtensibleBackingStore&) = delete;
    ZTExtensibleBackingStore& operator=(const ZTExtensibleBackingStore&) = delete;

    // Removes the temporary file.
    ~ZTExtensibleBackingStore() override;

    std::int64_t read(void* destination, unsigned long count) override;
    std::int64_t write(const void* source, unsigned long count) override;
    std::int64_t peek(void* destination, unsigned long count) override;
    std::uint64_t size() const override { return m_size; }
    void resetForRead() override;
    void resetForReadBack() override;
    void writeToReadHead() override { m_writeHead = m_readHead; }
    std::unique_ptr<ZTBufferProvider> clone(unsigned long) override;
    std::int32_t insert(unsigned long position, const void* source, unsigned long count) override;
    std::int64_t readBack(void* destination, unsigned long count) override;

    // For reading without a copy: as read, if all `count` bytes lie in the window, else null and nothing
    // happens. The bytes stay the store's, until its next other operation.
    const char* readInPlace(unsigned long count) {
        if (readableFrom(m_readHead) < count) return nullptr;
        const char* const place = m_buffer.get() + (m_readHead - m_windowStart);
        m_readHead += count;
        return place;
    }

    // Moves the read head to `position`, wherever that is. Nothing is read yet.
    void moveReadHead(std::uint64_t position) { m_readHead = position; }

    // Moves the read head back by `count` bytes. A failure is told on standard error and moves nothing.
    void rewind(unsigned long count);

    // The path of the temporary file, relative to the working directory.
    const std::string& getPath() const { return m_path; }

private:
    bool init_i();
    static bool prepareWorkingDir_i();
    static std::string getUniquePath();
    bool createFile_i();
    bool flush_i();
    bool rewind_i(unsigned long position);
    bool extendWindow_i();
    bool enlargeBuffer_i(std::uint64_t size);
    void backUpTo_i(std::uint64_t end);
    void insertBlocks_i(const char* source, char* scratch[2], unsigned long count, bool& complete);
    void destroy_i();

    std::uint64_t windowEnd() const { return m_windowStart + m_bufferSize; }
    // The window's end counts as inside, so that appending and reading to the end move nothing.
    bool isInWindow(std::uint64_t position) const {
        return m_windowStart <= position && position <= windowEnd();
    }
    std::uint64_t readableFrom(std::uint64_t position) const;
    std::uint64_t windowThatEndsAt(std::uint64_t position) const;

    static bool s_wasWorkingDirCreated;

    std::fstream m_file;
    bool m_dirty;                       // the window holds bytes that are not in the file
    std::uint64_t m_readHead;           // offset of the next read
    std::uint64_t m_writeHead;          // offset of the next write
    std::uint64_t m_size;               // length of the data
    std::uint64_t m_windowStart;        // offset of the first byte in m_buffer
    std::uint64_t m_maximumBufferSize;  // limit of the window
    MemoryBlock m_buffer;               // the window; a plain block, as new bytes are not to be filled
    std::uint64_t m_bufferSize;         // length of the window
    std::uint64_t m_bufferCapacity;     // the length that m_buffer has room for
    std::uint64_t m_backed;             // how much of the window has memory behind it
    std::string m_path;
    int m_descriptor = -1;  // of m_file, which closes it
};

}  // namespace pwr
