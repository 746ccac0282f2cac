// Prints records as JSON objects, one per line.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <concepts>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace host::inspect {

// One object at a time: begin, its fields, end. Field names are plain ASCII.
//
// Integers are printed exactly, floating-point numbers with the fewest digits that give the same number of
// their width again and always with a point or an exponent, infinities and not-a-number as the texts "inf",
// "-inf" and "nan". Bytes of a text that are not UTF-8 become U+FFFD. A long line goes out in pieces,
// whatever its length.
class JsonLine {
public:
    // `out` belongs to the caller. Null prints nothing, at no cost. A `file` that is not empty becomes the
    // first field of every object.
    explicit JsonLine(std::ostream* out, const std::string& file = std::string())
        : m_out(out), m_file(file) {}

    void begin();
    // Ends the object and writes its line.
    void end();

    template <typename T>
    void field(const char* name, const T& content) {
        key(name);
        value(content);
    }
    void nullField(const char* name) {
        key(name);
        nullValue();
    }
    // Names a field whose value, array or object follows.
    void key(const char* name);

    // An array or an object as a field, or within an array: values (or fields) follow until the end.
    void beginArray(const char* name);
    void beginArray();
    void endArray();
    void beginObject(const char* name);
    void beginObject();
    void endObject();

    void value(bool content);
    void value(float content);
    void value(double content);
    void value(std::string_view content);
    void value(const std::string& content) { value(std::string_view(content)); }
    void value(const char* content) { value(std::string_view(content)); }
    template <std::unsigned_integral T>
    void value(T content) {
        if (m_out != nullptr) m_writer.Uint64(content);
    }
    template <std::signed_integral T>
    void value(T content) {
        if (m_out != nullptr) m_writer.Int64(content);
    }
    void nullValue();

private:
    template <typename Real>
    void real_i(Real content);
    void write_i();

    std::ostream* m_out;
    std::string m_file;
    rapidjson::StringBuffer m_buffer;
    rapidjson::Writer<rapidjson::StringBuffer> m_writer;
};

}  // namespace host::inspect
