// Little-endian packing of fixed-width fields into byte buffers, for both binary formats.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace packing {

// Writes `value` at `out` in sizeof(T) bytes, lowest first, and returns the place after it. The caller
// answers for the room. T is an integer type, an enumeration or a floating-point type.
template <typename T>
inline char* put(char* out, T value) {
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
    static_assert(std::endian::native == std::endian::little, "fields are copied as they lie in memory");
    std::memcpy(out, &value, sizeof(T));
    return out + sizeof(T);
}

// Writes `count` bytes as they are and returns the place after them.
inline char* putBytes(char* out, const void* bytes, std::size_t count) {
    if (count != 0) std::memcpy(out, bytes, count);
    return out + count;
}

// Writes `count` zero bytes and returns the place after them.
inline char* putZeros(char* out, std::size_t count) {
    std::memset(out, 0, count);
    return out + count;
}

// Reads a field of sizeof(T) bytes at `in`.
template <typename T>
inline T get(const char* in) {
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
    T value;
    std::memcpy(&value, in, sizeof(T));
    return value;
}

}  // namespace packing
