// Samples the machine and delivers what it finds as lines of a message stream.
#pragma once

#include <functional>
#include <string_view>

#include "host/record/record_options.h"

namespace host {

// Takes one line of the stream, without its line end; false: the stream is not wanted any further.
using LineSink = std::function<bool(std::string_view)>;

enum class RecordResult {
    Complete,  // collected (possibly ended early by a signal) and delivered to its end
    Refused,   // the sink refused a line; it has said why
    Failed,    // an input or output error of the recorder's own, told on standard error
};

// Collects for as long as `options` say and delivers to `sink`. SIGINT and SIGTERM end the collection, not
// the delivery; both are blocked while the collection goes on and are as they were when the call returns.
RecordResult record(const RecordOptions& options, const LineSink& sink);

}  // namespace host
