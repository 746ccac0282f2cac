#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace host::base {

// Bytes that come from somewhere, once and in order.
class ByteSource {
public:
    virtual ~ByteSource() = default;

    // Reads up to `size` bytes, as many as there are without waiting for more than one. Returns how many; 0
    // at the end, when stopped and after an error.
    virtual std::size_t read(char* to, std::size_t size) = 0;

    // Bytes of the file that have been read, which are fewer than delivered if it is compressed.
    virtual std::uint64_t bytesRead() const = 0;

    // Why reading has failed; empty if it has not.
    virtual const std::string& error() const = 0;
};

}  // namespace host::base
