#pragma once

#include <cstdint>

#include "pwr/table_message.h"

namespace pwr {
class IdMessage;
class Metric;
class MetricContainerInfoMessage;
class SystemMessage;
class SystemMetadata;
class TextMessage;
}  // namespace pwr

namespace host::stream {

// What the reader of a stream feeds: a call for each message, in the order of the lines. Messages live for
// the call, but for the system message; that, and what messages point to, is the model's.
class MessageSink {
public:
    virtual ~MessageSink() = default;

    // The line of the stream that the next messages come from, from 1.
    virtual void setLine(std::uint64_t line) = 0;

    // An announcement or a row of a table; `tableClass` routes it.
    virtual void table(const pwr::TableMessage& message, pwr::TableClass tableClass) = 0;

    // A note or a line of the report's head.
    virtual void text(const pwr::TextMessage& message) = 0;
    virtual void system(const pwr::SystemMessage& message) = 0;
    virtual void metric(const pwr::Metric& metric) = 0;
    virtual void container(const pwr::MetricContainerInfoMessage& message) = 0;
    virtual void id(const pwr::IdMessage& message) = 0;

    // The stream asks for the results so far.
    virtual void flush(const pwr::SystemMetadata& metadata) = 0;
};

}  // namespace host::stream
