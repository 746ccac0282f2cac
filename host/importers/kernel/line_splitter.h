#pragma once

#include <cstdint>
#include <string_view>

#include "host/importers/buffered_bytes.h"

namespace host::importers {

// The lines of a content, where they lie.
class LineSplitter {
public:
    static constexpr std::size_t LONGEST = std::size_t{1} << 20;

    explicit LineSplitter(BufferedBytes& content) : m_content(content) {}

    // Gets the next line, without its end; false after the last one. It is valid until the next call. A line
    // that is longer than LONGEST comes in pieces.
    bool next(std::string_view& line);

private:
    bool look_i();
    void take_i(std::string_view& line, std::size_t size);

    BufferedBytes& m_content;
    std::string_view m_rest;  // of what has been looked at
    std::size_t m_taken = 0;  // bytes in front of it
};

}  // namespace host::importers
