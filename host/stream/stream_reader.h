#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/stream/definition_reader.h"
#include "host/stream/fault.h"
#include "host/stream/json_line.h"
#include "host/stream/message_reader.h"
#include "host/stream/message_sink.h"

namespace host::stream {

// Reads a message stream line by line: definitions go to the process's registry, messages to the sink.
// One reader reads one stream; it must go before the registry is reset.
class StreamReader {
public:
    // `sink` must outlive this object.
    explicit StreamReader(MessageSink& sink);

    // Reads a line, given without its newline. Returns true if it was good, also if it says nothing (blank or
    // a comment); otherwise nothing of it was delivered or defined, and error says what is wrong.
    // `number` counts from 1.
    bool line(std::string_view text, std::uint64_t number);

    // The same for a text in a buffer of the caller's that has JsonLine::PADDING writable bytes more and that
    // may be changed.
    bool lineInPlace(char* text, std::size_t size, std::uint64_t number);

    const std::string& error() const { return m_fault.text(); }

    // The lines so far that said something, good or not.
    std::uint64_t contentLines() const { return m_contentLines; }

private:
    void read_i(const Token& root);

    Fault m_fault;
    JsonLine m_json;
    MessageSink& m_sink;
    DefinitionReader m_definitions;
    MessageReader m_messages;
    std::vector<char> m_copy;
    std::uint64_t m_contentLines = 0;
};

}  // namespace host::stream
