#include "host/inspect/json_line.h"

#include <charconv>
#include <cmath>

#include "host/base/utf8.h"

namespace host::inspect {

namespace {

constexpr std::size_t PIECE = 1 << 16;

bool isAscii(std::string_view bytes) {
    for (const char byte : bytes)
        if (static_cast<unsigned char>(byte) >= 0x80) return false;
    return true;
}

}  // namespace

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
    write_i();
    m_out->put('\n');
}

void JsonLine::write_i() {
    m_out->write(m_buffer.GetString(), static_cast<std::streamsize>(m_buffer.GetSize()));
    m_buffer.Clear();
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
    if (m_buffer.GetSize() > PIECE) write_i();
    if (isAscii(content)) {
        m_writer.String(content.data(), static_cast<rapidjson::SizeType>(content.size()));
        return;
    }
    const std::string text = base::toUtf8(content);
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
