// The JSON text of this library's files: RapidJSON's writer over its growing buffer, in default settings.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstddef>
#include <string>

using JsonBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, rapidjson::CrtAllocator>;
using JsonTextWriter = rapidjson::Writer<JsonBuffer>;

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
