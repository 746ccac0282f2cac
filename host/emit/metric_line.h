// The message of one sample, built in a buffer that is kept: what is written at every sample goes through
// here.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/emit/context.h"
#include "host/emit/definitions.h"
#include "host/emit/output.h"

namespace host::emit {

// An element's part that never changes: its entity and descriptor.
std::string elementHead(Id entity, Id descriptor);

// Replaces `line` by the begin of a metric's message, up to its elements.
void beginMetric(std::string& line, Id metric, std::uint64_t ticks);

class MetricLine {
public:
    explicit MetricLine(const Context& context)
        : m_output(context.output), m_mostAttributes(context.mostAttributes) {}

    // Begins the message of `metric` at `ticks`. Messages without elements are not written.
    void begin(Id metric, std::uint64_t ticks);

    // Announces that so many elements of one entity follow. A sample that would be too large for one record
    // of the import format goes on in a second message of the same time.
    void entity(std::size_t elements);

    // Elements with their durations in ticks.
    void number(std::string_view head, std::uint64_t duration, std::uint64_t value);
    void real(std::string_view head, std::uint64_t duration, double value);
    void handle(std::string_view head, std::uint64_t duration, Id value);

    // An element with its further members in the stream's own text, from the comma to the closing brace.
    void element(std::string_view head, std::uint64_t duration, std::string_view tail);

    void end();

private:
    void head_i();
    void element_i(std::string_view head, std::uint64_t duration);

    Output& m_output;
    const std::size_t m_mostAttributes;  // of a message, 0: no limit
    std::string m_text;
    Id m_metric = 0;
    std::uint64_t m_ticks = 0;
    std::size_t m_attributes = 0;  // that the import format needs for the elements so far
    bool m_empty = true;
};

}  // namespace host::emit
