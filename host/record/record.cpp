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
Warn warner(const RecordOptions& options) {
    const char* const front = options.progress && isatty(STDERR_FILENO) == 1 ? "\r\033[K" : "";
    return [front](const std::string& text) { std::fprintf(stderr, "%spwrhost: %s\n", front, text.c_str()); };
}

bool isOpen(const Root& root, const Warn& warn) {
    if (!root.isOpen()) warn("Unable to open " + root.path() + ": " + std::strerror(errno));
    return root.isOpen();
}

}  // namespace

bool checkRoot(const RecordOptions& options) {
    return isOpen(Root(options.root), warner(options));
}

RecordResult recordMachine(const RecordOptions& options, const emit::LineSink& sink) {
    const Warn warn = warner(options);
    const Root root(options.root);
    if (!isOpen(root, warn)) return RecordResult::Failed;
    SystemClock clock(root);
    return Collector(options, root, clock, sink, warn).run();
}

int recordInParts(const RecordOptions& options, const Deliverer& deliverer, Command* command) {
    const Warn warn = warner(options);
    const Root root(options.root);
    if (!isOpen(root, warn)) return base::EXIT_ERROR;
    SystemClock clock(root, command);
    PartProcesses parts(deliverer, options.save, options.keep, warn);
    RecordOptions unsaved = options;  // the parts keep their streams themselves
    unsaved.save.clear();
    Collector collector(unsaved, root, clock, {}, warn);
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
    const Warn warn = warner(options);
    const Root root(options.root);
    if (!isOpen(root, warn)) return RecordResult::Failed;
    SystemClock clock(root, &command);
    Collector collector(options, root, clock, sink, warn);
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
