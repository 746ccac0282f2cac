// Texts in temporary files and stores: each after its length in bytes, 32 bits in the machine's byte order.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "plugins/packing.h"

namespace spooled_text {

inline constexpr std::size_t LENGTH_SIZE = sizeof(std::uint32_t);

// The length that stands at `record`.
inline std::size_t lengthAt(const char* record) {
    return packing::get<std::uint32_t>(record);
}

// The text of the record at `record`. The next record is where it ends.
inline std::string_view textAt(const char* record) {
    return {record + LENGTH_SIZE, lengthAt(record)};
}

// Gives each text that lies wholly in `chunk` to `take`, in order. Returns how many bytes these are, with
// their lengths; what follows is a part of a record.
template <std::invocable<std::string_view> Take>
std::size_t takeWhole(std::string_view chunk, const Take& take) {
    std::size_t position = 0;
    while (chunk.size() - position >= LENGTH_SIZE) {
        const std::string_view text = textAt(chunk.data() + position);
        if (chunk.size() - position - LENGTH_SIZE < text.size()) break;
        position += LENGTH_SIZE + text.size();
        take(text);
    }
    return position;
}

}  // namespace spooled_text
