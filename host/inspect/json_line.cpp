#include "host/inspect/json_line.h"

#include <charconv>
#include <cmath>

namespace host::inspect {

namespace {

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// The length of the well-formed sequence at the start of `bytes`, 0 if there is none.
std::size_t sequenceLength(std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    if (first < 0x80) return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || bytes.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if (!isContinuation(bytes[i])) return 0;
    // Overlong forms, surrogates and what lies beyond the last code point show in the second byte.
    const auto second = static_cast<unsigned char>(bytes[1]);
    if (first == 0xE0 && second < 0xA0) return 0;
    if (first == 0xED && second > 0x9F) return 0;
    if (first == 0xF0 && second < 0x90) return 0;
    if (first == 0xF4 && second > 0x8F) return 0;
    return length;
}

bool isAscii(std::string_view bytes) {
    for (const char byte : bytes)
        if (static_cast<unsigned char>(byte) >= 0x80) return false;
    return true;
}

}  // namespace

std::string toUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t length = sequenceLength(bytes);
        if (length == 0)
            text += "\xEF\xBF\xBD";
        else
            text += bytes.substr(0, length);
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

void JsonLine::begin() {
    if (m_out == nullptr) return;
    m_buffer.Clear();
    m_writer.Reset(m_buffer);
    m_writer.StartObject();
    if (!m_file.empty()) field("file", m_file);
}

void JsonLine::end() {
    if (m_out == nullptr) return;
    m_writer.EndObject();
    m_out->write(m_buffer.GetString(), static_cast<std::streamsize>(m_buffer.GetSize()));
    m_out->put('\n');
}

void JsonLine::key(const char* name) {
    if (m_out != nullptr) m_writer.Key(name);
}

void JsonLine::beginArray(const char* name) {
    key(name);
    beginArray();
}

void JsonLine::beginArray() {
    if (m_out != nullptr) m_writer.StartArray();
}

void JsonLine::endArray() {
    if (m_out != nullptr) m_writer.EndArray();
}

void JsonLine::beginObject(const char* name) {
    key(name);
    beginObject();
}

void JsonLine::beginObject() {
    if (m_out != nullptr) m_writer.StartObject();
}

void JsonLine::endObject() {
    if (m_out != nullptr) m_writer.EndObject();
}

void JsonLine::value(bool content) {
    if (m_out != nullptr) m_writer.Bool(content);
}

void JsonLine::value(float content) {
    real_i(content);
}

void JsonLine::value(double content) {
    real_i(content);
}

void JsonLine::value(std::string_view content) {
    if (m_out == nullptr) return;
    if (isAscii(content)) {
        m_writer.String(content.data(), static_cast<rapidjson::SizeType>(content.size()));
        return;
    }
    const std::string text = toUtf8(content);
    m_writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void JsonLine::nullValue() {
    if (m_out != nullptr) m_writer.Null();
}

template <typename Real>
void JsonLine::real_i(Real content) {
    if (m_out == nullptr) return;
    if (!std::isfinite(content)) {
        m_writer.String(std::isnan(content) ? "nan" : content < 0 ? "-inf" : "inf");
        return;
    }
    char digits[32];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof(digits), content);
    std::string text(digits, result.ptr);
    if (text.find_first_of(".e") == std::string::npos) text += ".0";  // so that -0 stays what it is
    m_writer.RawValue(text.data(), text.size(), rapidjson::kNumberType);
}

}  // namespace host::inspect
