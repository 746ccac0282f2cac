// Prints records as JSON objects, one per line.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "host/base/json_printer.h"

namespace host::inspect {

// One object at a time: begin, its fields, end. Field names are plain ASCII, values are printed as
// base::JsonPrinter has it. A long line goes out in pieces, whatever its length.
class JsonLine {
public:
    // `out` belongs to the caller. Null prints nothing, at no cost. A `file` that is not empty becomes the
    // first field of every object.
    explicit JsonLine(std::ostream* out, const std::string& file = std::string())
        : m_out(out), m_file(file) {}

    void begin();
    // Ends the object and writes its line.
    void end();

    void field(const char* name, const auto& content) {
        key(name);
        value(content);
    }
    void nullField(const char* name) {
        key(name);
        nullValue();
    }
    // Names a field whose value, array or object follows.
    void key(const char* name) {
        if (m_out != nullptr) m_printer.key(name);
    }
    // A list of numbers or texts.
    void list(const char* name, const auto& items) {
        if (m_out != nullptr) m_printer.list(name, items);
    }

    // An array or an object as a field, or within an array: values (or fields) follow until the end.
    void beginArray(const char* name);
    void endArray();
    void beginObject(const char* name);
    void beginObject();
    void endObject();

    void value(const auto& content) {
        if (m_out == nullptr) return;
        if (m_printer.text().size() > PIECE) write_i();
        m_printer.value(content);
    }
    void nullValue();

private:
    static constexpr std::size_t PIECE = 1 << 16;

    void write_i();

    std::ostream* m_out;
    std::string m_file;
    base::JsonPrinter m_printer;
};

}  // namespace host::inspect
