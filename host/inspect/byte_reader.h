// Reads little-endian fields out of bytes that may be anything.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "plugins/packing.h"

namespace host::inspect {

// Walks over a view of bytes. A read that would go past the end gives zero or nothing, moves to the end and
// makes failed() true for good, so a decoder can read a whole record and ask once.
class ByteReader {
public:
    // `base` is the offset of the first byte in its file.
    explicit ByteReader(std::string_view bytes, std::uint64_t base = 0) : m_bytes(bytes), m_base(base) {}

    // The offset in the file of the next byte.
    std::uint64_t offset() const { return m_base + m_position; }
    std::size_t left() const { return m_bytes.size() - m_position; }
    bool atEnd() const { return left() == 0; }
    bool failed() const { return m_failed; }

    // Reads a field of sizeof(T) bytes.
    template <typename T>
    T get() {
        const std::string_view field = getBytes(sizeof(T));
        return field.size() == sizeof(T) ? packing::get<T>(field.data()) : T{};
    }

    // Reads `count` bytes; the view is valid as long as the bytes are.
    std::string_view getBytes(std::size_t count) {
        if (count > left()) {
            m_failed = true;
            m_position = m_bytes.size();
            return {};
        }
        const std::string_view bytes = m_bytes.substr(m_position, count);
        m_position += count;
        return bytes;
    }

    // Reads `count` bytes into a reader of their own, which knows their offset.
    ByteReader getReader(std::size_t count) {
        const std::uint64_t begin = offset();
        return ByteReader(getBytes(count), begin);
    }

private:
    std::string_view m_bytes;
    std::uint64_t m_base;
    std::size_t m_position = 0;
    bool m_failed = false;
};

}  // namespace host::inspect
