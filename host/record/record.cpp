#include "host/record/record.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/record/collector.h"
#include "host/record/system_clock.h"

namespace host::record {

RecordResult recordMachine(const RecordOptions& options, const emit::LineSink& sink) {
    // In place of the progress line, where there is one.
    const char* const front = options.progress && isatty(STDERR_FILENO) == 1 ? "\r\033[K" : "";
    const auto tell = [front](const std::string& text) {
        std::fprintf(stderr, "%spwrhost: %s\n", front, text.c_str());
    };
    const Root root(options.root);
    if (!root.isOpen()) {
        tell("Unable to open " + options.root + ": " + std::strerror(errno));
        return RecordResult::Failed;
    }
    SystemClock clock(root);
    return Collector(options, root, clock, sink, tell).run();
}

}  // namespace host::record
