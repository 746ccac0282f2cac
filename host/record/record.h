// Samples the machine and delivers what it finds as lines of a message stream.
#pragma once

#include "host/emit/line_sink.h"
#include "host/record/record_options.h"

#include <functional>

namespace host::record {

class Command;
struct Deliverer;

enum class RecordResult {
    Complete,    // collected (possibly ended early by a signal) and delivered to its end
    Refused,     // the sink refused a line; it has said why
    NotStarted,  // the start was refused
    Failed,      // an input or output error of the recorder's own, reported on standard error
};

// Complains and returns false if there is no folder where the machine's files are to be looked for.
bool checkRoot(const RecordOptions& options);

// Collects for as long as `options` say and delivers to `sink`. SIGINT, SIGTERM and SIGHUP end the
// collection, not the delivery; both are blocked while the collection goes on and are as they were when the
// call returns.
RecordResult recordMachine(const RecordOptions& options, const emit::LineSink& sink);

// The same in parts, each delivered in a process of its own, for as long as `command` runs if there is one.
// Returns the exit status: the command's, or why it could not be started, or else, if that is 0, that of the
// parts.
int recordInParts(const RecordOptions& options, const Deliverer& deliverer, Command* command = nullptr);

// As recordMachine while a command runs: `begin` is called with the command started, and the collection ends
// with it. If that can't be started nothing is collected, and `commandStatus` says why, as Command::start
// does.
RecordResult recordCommand(const RecordOptions& options, Command& command, const std::function<void()>& begin,
                           const emit::LineSink& sink, int& commandStatus);

}  // namespace host::record
