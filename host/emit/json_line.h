// One line of the stream, for those that are not written at every sample.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/base/text.h"
#include "host/base/utf8.h"
#include "host/emit/output.h"

namespace host::emit {

// An object under construction: members in the order of the calls.
class JsonLine {
public:
    // Begins with the member that every line has, "def" or "msg".
    JsonLine(std::string_view key, std::string_view value) : m_writer(m_buffer) {
        m_writer.StartObject();
        member(key, value);
    }

    JsonLine& key(std::string_view name) {
        m_writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
        return *this;
    }

    JsonLine& value(std::string_view text) {
        const std::string clean = base::toUtf8(text);
        m_writer.String(clean.data(), static_cast<rapidjson::SizeType>(clean.size()));
        return *this;
    }
    JsonLine& value(const std::string& text) { return value(std::string_view(text)); }
    JsonLine& value(const char* text) { return value(std::string_view(text)); }
    JsonLine& value(std::signed_integral auto number) {
        m_writer.Int64(number);
        return *this;
    }
    JsonLine& value(std::unsigned_integral auto number) {
        m_writer.Uint64(number);
        return *this;
    }
    JsonLine& value(double number) {
        m_writer.Double(number);
        return *this;
    }
    JsonLine& value(bool truth) {
        m_writer.Bool(truth);
        return *this;
    }
    JsonLine& null() {
        m_writer.Null();
        return *this;
    }

    // Text that is JSON already.
    JsonLine& raw(std::string_view json) {
        m_writer.RawValue(json.data(), json.size(), rapidjson::kObjectType);
        return *this;
    }

    JsonLine& member(std::string_view name, const auto& content) { return key(name).value(content); }

    JsonLine& beginList() {
        m_writer.StartArray();
        return *this;
    }
    JsonLine& endList() {
        m_writer.EndArray();
        return *this;
    }
    JsonLine& beginObject() {
        m_writer.StartObject();
        return *this;
    }
    JsonLine& endObject() {
        m_writer.EndObject();
        return *this;
    }

    // A list of numbers or texts.
    JsonLine& list(std::string_view name, const auto& items) {
        key(name).beginList();
        for (const auto& item : items) value(item);
        return endList();
    }

    void writeTo(Output& output) {
        m_writer.EndObject();
        output.write({m_buffer.GetString(), m_buffer.GetSize()});
    }

private:
    rapidjson::StringBuffer m_buffer;
    rapidjson::Writer<rapidjson::StringBuffer> m_writer;
};

}  // namespace host::emit
