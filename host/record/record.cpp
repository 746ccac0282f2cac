#include "host/record/record.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/record/collector.h"
#include "host/record/system_clock.h"

namespace host {

RecordResult record(const RecordOptions& options, const LineSink& sink) {
    // In place of the progress line, where there is one.
    const char* const front = options.progress && isatty(STDERR_FILENO) == 1 ? "\r\033[K" : "";
    const auto tell = [front](const std::string& text) {
        std::fprintf(stderr, "%spwrhost: %s\n", front, text.c_str());
    };
    const recorder::Root root(options.root);
    if (!root.isOpen()) {
        tell("Unable to open " + options.root + ": " + std::strerror(errno));
        return RecordResult::Failed;
    }
    recorder::SystemClock clock(root);
    return recorder::Collector(options, root, clock, sink, tell).run();
}

}  // namespace host
