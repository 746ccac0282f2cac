// JSON as every part of the host writes it.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace host::base {

// A JSON text under construction: values, and members in the order of the calls.
//
// Integers are printed exactly, floating-point numbers with the fewest digits that give the same number of
// their width again and always with a point or an exponent, infinities and not-a-number as the texts "inf",
// "-inf" and "nan". Bytes of a text that are not UTF-8 become U+FFFD.
class JsonPrinter {
public:
    JsonPrinter() : m_writer(m_buffer) {}

    // Begins an object with its first member, such as the "def" or "msg" of a line of the stream.
    JsonPrinter(std::string_view name, std::string_view content) : JsonPrinter() {
        beginObject().member(name, content);
    }

    JsonPrinter(const JsonPrinter&) = delete;
    JsonPrinter& operator=(const JsonPrinter&) = delete;

    JsonPrinter& key(std::string_view name) {
        m_writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
        return *this;
    }

    JsonPrinter& value(std::string_view text);
    JsonPrinter& value(const std::string& text) { return value(std::string_view(text)); }
    JsonPrinter& value(const char* text) { return value(std::string_view(text)); }
    JsonPrinter& value(std::signed_integral auto number) {
        m_writer.Int64(number);
        return *this;
    }
    JsonPrinter& value(std::unsigned_integral auto number) {
        m_writer.Uint64(number);
        return *this;
    }
    JsonPrinter& value(float number);
    JsonPrinter& value(double number);
    JsonPrinter& value(bool truth) {
        m_writer.Bool(truth);
        return *this;
    }
    JsonPrinter& null() {
        m_writer.Null();
        return *this;
    }
    // Text that is JSON already.
    JsonPrinter& raw(std::string_view json) {
        m_writer.RawValue(json.data(), json.size(), rapidjson::kObjectType);
        return *this;
    }

    JsonPrinter& beginList() {
        m_writer.StartArray();
        return *this;
    }
    JsonPrinter& endList() {
        m_writer.EndArray();
        return *this;
    }
    JsonPrinter& beginObject() {
        m_writer.StartObject();
        return *this;
    }
    JsonPrinter& endObject() {
        m_writer.EndObject();
        return *this;
    }

    JsonPrinter& member(std::string_view name, const auto& content) { return key(name).value(content); }
    // A list of numbers or texts as a member.
    JsonPrinter& list(std::string_view name, const auto& items) {
        key(name).beginList();
        for (const auto& item : items) value(item);
        return endList();
    }

    // Ends the line's object and gives it to `output`, which has write(std::string_view).
    void writeTo(auto& output) {
        endObject();
        output.write(text());
    }

    // What has been printed since the last clear(); valid until the next call.
    std::string_view text() const { return {m_buffer.GetString(), m_buffer.GetSize()}; }
    // Drops the text but not the place: a list that is open goes on.
    void clear() { m_buffer.Clear(); }
    // Begins anew.
    void reset() {
        m_buffer.Clear();
        m_writer.Reset(m_buffer);
    }

private:
    template <typename Real>
    JsonPrinter& real_i(Real number);

    rapidjson::StringBuffer m_buffer;
    rapidjson::Writer<rapidjson::StringBuffer> m_writer;
};

// The text as a JSON string, with its quotes.
std::string quotedJson(std::string_view text);

}  // namespace host::base
