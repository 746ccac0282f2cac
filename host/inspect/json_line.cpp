#include "host/inspect/json_line.h"

namespace host::inspect {

void JsonLine::begin() {
    if (m_out == nullptr) return;
    m_printer.reset();
    m_printer.beginObject();
    if (!m_file.empty()) field("file", m_file);
}

void JsonLine::end() {
    if (m_out == nullptr) return;
    m_printer.endObject();
    write_i();
    m_out->put('\n');
}

void JsonLine::write_i() {
    const std::string_view text = m_printer.text();
    m_out->write(text.data(), static_cast<std::streamsize>(text.size()));
    m_printer.clear();
}

void JsonLine::beginArray(const char* name) {
    key(name);
    if (m_out != nullptr) m_printer.beginList();
}

void JsonLine::endArray() {
    if (m_out != nullptr) m_printer.endList();
}

void JsonLine::beginObject(const char* name) {
    key(name);
    beginObject();
}

void JsonLine::beginObject() {
    if (m_out != nullptr) m_printer.beginObject();
}

void JsonLine::endObject() {
    if (m_out != nullptr) m_printer.endObject();
}

void JsonLine::nullValue() {
    if (m_out != nullptr) m_printer.null();
}

}  // namespace host::inspect
