// The JSON text of this library's files: RapidJSON's writer over its growing buffer, in default settings.
#pragma once

#include <rapidjson/allocators.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

// The C library's memory, with an exception where there is none: RapidJSON itself writes on through null.
class JsonAllocator : public rapidjson::CrtAllocator {
public:
    void* Malloc(std::size_t size) { return checked_i(CrtAllocator::Malloc(size), size); }
    void* Realloc(void* memory, std::size_t oldSize, std::size_t newSize) {
        return checked_i(CrtAllocator::Realloc(memory, oldSize, newSize), newSize);
    }

private:
    static void* checked_i(void* memory, std::size_t size) {
        if (memory == nullptr && size != 0) throw std::bad_alloc();
        return memory;
    }
};

using JsonBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, JsonAllocator>;
using JsonTextWriter = rapidjson::Writer<JsonBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator>;

// RapidJSON prints numbers in place for its own string buffer only. The same for this one: otherwise a number
// goes through a second buffer and from there byte by byte, which makes a point cost half as much again.
template <>
inline bool JsonTextWriter::WriteUint64(std::uint64_t number) {
    constexpr std::size_t MAX_SIZE = 20;
    char* const text = os_->Push(MAX_SIZE);
    const char* const end = rapidjson::internal::u64toa(number, text);
    os_->Pop(MAX_SIZE - static_cast<std::size_t>(end - text));
    return true;
}
template <>
inline bool JsonTextWriter::WriteDouble(double number) {
    if (!std::isfinite(number)) return false;
    constexpr std::size_t MAX_SIZE = 25;
    char* const text = os_->Push(MAX_SIZE);
    const char* const end = rapidjson::internal::dtoa(number, text, maxDecimalPlaces_);
    os_->Pop(MAX_SIZE - static_cast<std::size_t>(end - text));
    return true;
}

// Writes a key that is known when this is compiled.
template <std::size_t Size>
inline void writeKey(JsonTextWriter& writer, const char (&key)[Size]) {
    writer.Key(key, static_cast<rapidjson::SizeType>(Size - 1));
}

// Keys and strings are written as zero-terminated text: they end at their first zero byte.
inline void writeKey(JsonTextWriter& writer, const std::string& key) {
    writer.Key(key.c_str());
}
inline void writeString(JsonTextWriter& writer, const std::string& text) {
    writer.String(text.c_str());
}

// Writes a member whose value is a string.
template <std::size_t Size>
inline void writeMember(JsonTextWriter& writer, const char (&key)[Size], const std::string& text) {
    writeKey(writer, key);
    writeString(writer, text);
}
