// The encoding of messages in a trace: rows of fields, each a key and a value.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "plugins/packing.h"

namespace exporting::wire {

// How a field's value is encoded.
enum WireType : std::uint32_t { VARINT = 0, FIXED64 = 1, BYTES = 2 };

// Seven bits to a byte, the lowest first; all bytes but the last have bit 7 set.
inline void appendVarint(std::string& out, std::uint64_t value) {
    while (value >= 0x80) {
        out.push_back(static_cast<char>(value | 0x80));
        value >>= 7;
    }
    out.push_back(static_cast<char>(value));
}

inline void appendKey(std::string& out, std::uint32_t field, WireType type) {
    appendVarint(out, field << 3 | type);
}

inline void appendUnsigned(std::string& out, std::uint32_t field, std::uint64_t value) {
    appendKey(out, field, VARINT);
    appendVarint(out, value);
}

// Negative numbers take ten bytes: they are extended to 64 bits.
inline void appendSigned(std::string& out, std::uint32_t field, std::int64_t value) {
    appendUnsigned(out, field, static_cast<std::uint64_t>(value));
}

inline void appendReal(std::string& out, std::uint32_t field, double value) {
    appendKey(out, field, FIXED64);
    char bytes[sizeof value];
    packing::put(bytes, value);
    out.append(bytes, sizeof bytes);
}

// A text, or a nested message that is complete.
inline void appendBytes(std::string& out, std::uint32_t field, std::string_view value) {
    appendKey(out, field, BYTES);
    appendVarint(out, value.size());
    out.append(value);
}

}  // namespace exporting::wire
