#include "host/stream/stream_reader.h"

#include "host/stream/vocabulary.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace host::stream {

namespace {

// True if a line says nothing.
bool isIdle(const char* text, std::size_t size) {
    std::size_t first = 0;
    while (first < size && (text[first] == ' ' || text[first] == '\t' || text[first] == '\r')) ++first;
    return first == size || text[first] == '#';
}

}  // namespace

StreamReader::StreamReader(MessageSink& sink)
    : m_sink(sink),
      m_definitions(model::Registry::instance(), m_fault),
      m_messages(model::Registry::instance(), m_fault, sink) {}

bool StreamReader::line(std::string_view text, std::uint64_t number) {
    m_copy.resize(std::max(m_copy.size(), text.size() + JsonLine::PADDING));
    std::copy(text.begin(), text.end(), m_copy.begin());
    return lineInPlace(m_copy.data(), text.size(), number);
}

bool StreamReader::lineInPlace(char* text, std::size_t size, std::uint64_t number) {
    if (isIdle(text, size)) return true;
    ++m_contentLines;
    m_fault.clear();
    m_sink.setLine(number);
    try {
        if (const Token* root = m_json.parse(text, size, m_fault); root != nullptr) read_i(*root);
    } catch (const std::bad_alloc&) {
        m_fault.set("not enough memory");
    }
    return !m_fault.isSet();
}

void StreamReader::read_i(const Token& root) {
    ObjectReader line(root, m_fault);
    const Token* const definition = line.find(key::DEFINITION);
    const Token* const message = line.find(key::MESSAGE);
    if (m_fault.isSet()) return;
    if (definition != nullptr && message != nullptr) return m_fault.set("both \"def\" and \"msg\"");
    if (definition == nullptr && message == nullptr) return m_fault.set("neither \"def\" nor \"msg\"");
    const std::string_view kind = readText(definition != nullptr ? *definition : *message, m_fault);
    m_fault.in(definition != nullptr ? "def" : "msg");
    if (m_fault.isSet()) return;
    if (definition != nullptr) {
        m_definitions.read(kind, line);
    } else {
        m_messages.read(kind, line);
    }
}

}  // namespace host::stream
