// Samples the machine and delivers what it finds as lines of a message stream.
#pragma once

#include "host/emit/line_sink.h"
#include "host/record/record_options.h"

namespace host::record {

enum class RecordResult {
    Complete,  // collected (possibly ended early by a signal) and delivered to its end
    Refused,   // the sink refused a line; it has said why
    Failed,    // an input or output error of the recorder's own, told on standard error
};

// Collects for as long as `options` say and delivers to `sink`. SIGINT, SIGTERM and SIGHUP end the
// collection, not the delivery; both are blocked while the collection goes on and are as they were when the
// call returns.
RecordResult recordMachine(const RecordOptions& options, const emit::LineSink& sink);

}  // namespace host::record
