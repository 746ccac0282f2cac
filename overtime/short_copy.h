// Copies of short texts without a call: most cells have fewer than 16 characters.
#pragma once

#include <cstddef>
#include <cstring>

namespace overtime {

// How many bytes after a text may be read or written by a copy in strides.
inline constexpr std::size_t STRIDE = 16;

// Copies `length` bytes and up to STRIDE more, all of which must be there.
inline void copyStrides(char* out, const char* in, std::size_t length) {
    std::memcpy(out, in, STRIDE);  // without asking, as this mostly is all
    for (std::size_t i = STRIDE; i < length; i += STRIDE) std::memcpy(out + i, in + i, STRIDE);
}

// Copies exactly `length` bytes, at most 2 * STRIDE, as two pieces that may overlap.
inline void copyShort(char* out, const char* in, std::size_t length) {
    if (length >= 16) {
        std::memcpy(out, in, 16);
        std::memcpy(out + length - 16, in + length - 16, 16);
    } else if (length >= 8) {
        std::memcpy(out, in, 8);
        std::memcpy(out + length - 8, in + length - 8, 8);
    } else if (length >= 4) {
        std::memcpy(out, in, 4);
        std::memcpy(out + length - 4, in + length - 4, 4);
    } else if (length != 0) {
        out[0] = in[0];
        out[length / 2] = in[length / 2];
        out[length - 1] = in[length - 1];
    }
}

}  // namespace overtime
