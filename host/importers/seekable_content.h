#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/base/descriptor.h"

namespace host::importers {

// A content that can be read at any place: the file itself, or a copy in a file without a name in the working
// directory, which vanishes with the process however it ends.
class SeekableContent {
public:
    // Reads `file`, which stays the caller's; if it is -1, what is added.
    explicit SeekableContent(int file) : m_file(file) {}

    // Adds bytes, which are kept only if there is no file. False if they can't be kept: error() says why.
    bool add(std::string_view bytes);

    // Reads up to `size` bytes from `offset` on. Returns how many.
    std::size_t read(std::uint64_t offset, char* to, std::size_t size) const;

    // Whether what is read has to be added.
    bool isCopy() const { return m_file < 0; }

    // The file with all of it, which stays this object's; -1 if there is none.
    int descriptor();

    const std::string& error() const { return m_error; }

private:
    bool flush_i();

    int m_file;
    base::Descriptor m_copy;
    std::string m_pending;
    std::uint64_t m_written = 0;
    std::string m_error;
};

// Walks over a stretch of a content with a small window.
class ContentWindow {
public:
    ContentWindow(const SeekableContent& content, std::uint64_t begin, std::uint64_t end)
        : m_content(&content), m_offset(begin), m_end(end) {}

    // The next bytes: at least `count` unless the stretch ends before.
    std::string_view peek(std::size_t count);
    void skip(std::size_t count) {
        m_begin += count;
        m_offset += count;
    }
    std::uint64_t offset() const { return m_offset; }

private:
    const SeekableContent* m_content;
    std::uint64_t m_offset;
    std::uint64_t m_end;
    std::string m_window;
    std::size_t m_begin = 0;
};

}  // namespace host::importers
