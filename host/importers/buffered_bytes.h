#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/base/byte_source.h"

namespace host::importers {

// A source whose next bytes can be looked at before they are taken. Memory is bounded by the longest look.
class BufferedBytes : public base::ByteSource {
public:
    // `source` must outlive this object.
    explicit BufferedBytes(base::ByteSource& source) : m_source(source) {}

    // The next bytes: at least `count`, unless there are no more, and whatever else is there already. Valid
    // until the next call of an operation that is not const.
    std::string_view peek(std::size_t count) {
        if (m_end - m_begin < count) fill_i(count);
        return {m_buffer.data() + m_begin, m_end - m_begin};
    }

    // Takes bytes that have been looked at.
    void skip(std::size_t count) {
        m_begin += count;
        m_offset += count;
    }

    // Where the next byte stands in the content.
    std::uint64_t offset() const { return m_offset; }

    std::size_t read(char* to, std::size_t size) override;
    std::uint64_t bytesRead() const override { return m_source.bytesRead(); }
    const std::string& error() const override { return m_source.error(); }

private:
    void fill_i(std::size_t count);

    base::ByteSource& m_source;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;  // of what has not been taken
    std::size_t m_end = 0;
    std::uint64_t m_offset = 0;
};

}  // namespace host::importers
