#include "host/record/record.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/base/exit_status.h"
#include "host/record/collector.h"
#include "host/record/command.h"
#include "host/record/system_clock.h"

namespace host::record {

namespace {

// Lines for the user, in place of the progress line where there is one.
Tell teller(const RecordOptions& options) {
    const char* const front = options.progress && isatty(STDERR_FILENO) == 1 ? "\r\033[K" : "";
    return [front](const std::string& text) { std::fprintf(stderr, "%spwrhost: %s\n", front, text.c_str()); };
}

bool isOpen(const Root& root, const Tell& tell) {
    if (!root.isOpen()) tell("Unable to open " + root.path() + ": " + std::strerror(errno));
    return root.isOpen();
}

}  // namespace

RecordResult recordMachine(const RecordOptions& options, const emit::LineSink& sink) {
    const Tell tell = teller(options);
    const Root root(options.root);
    if (!isOpen(root, tell)) return RecordResult::Failed;
    SystemClock clock(root);
    return Collector(options, root, clock, sink, tell).run();
}

int recordInParts(const RecordOptions& options, const Deliverer& deliverer, Command* command) {
    const Tell tell = teller(options);
    const Root root(options.root);
    if (!isOpen(root, tell)) return base::EXIT_ERROR;
    SystemClock clock(root, command);
    PartProcesses parts(deliverer, options.save, options.keep, tell);
    RecordOptions unsaved = options;  // the parts keep their streams themselves
    unsaved.save.clear();
    Collector collector(unsaved, root, clock, {}, tell);
    collector.rotateThrough(parts);
    int startStatus = 0;
    if (command != nullptr) {
        collector.onStart([&] { return (startStatus = command->start()) == 0; });
        collector.onReport([command](emit::Report& report) { command->report(report); });
    }
    const RecordResult result = collector.run();
    if (startStatus != 0) return startStatus;
    if (command != nullptr) command->wait();
    if (command != nullptr && command->status() != 0) return command->status();
    return result == RecordResult::Complete ? parts.status() : base::EXIT_ERROR;
}

RecordResult recordCommand(const RecordOptions& options, Command& command, const std::function<void()>& begin,
                           const emit::LineSink& sink, int& commandStatus) {
    const Tell tell = teller(options);
    const Root root(options.root);
    if (!isOpen(root, tell)) return RecordResult::Failed;
    SystemClock clock(root, &command);
    Collector collector(options, root, clock, sink, tell);
    collector.onStart([&] {
        commandStatus = command.start();
        if (commandStatus == 0) begin();
        return commandStatus == 0;
    });
    collector.onReport([&](emit::Report& report) { command.report(report); });
    const RecordResult result = collector.run();
    command.wait();
    return result;
}

}  // namespace host::record
