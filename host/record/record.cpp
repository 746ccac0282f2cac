#include "host/record/record.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/record/collector.h"
#include "host/record/system_clock.h"

namespace host {

RecordResult record(const RecordOptions& options, const LineSink& sink) {
    const auto tell = [](const std::string& text) { std::fprintf(stderr, "pwrhost: %s\n", text.c_str()); };
    const recorder::Root root(options.root);
    if (!root.isOpen()) {
        tell("Unable to open " + options.root + ": " + std::strerror(errno));
        return RecordResult::Failed;
    }
    recorder::SystemClock clock(root);
    return recorder::Collector(options, root, clock, sink, tell).run();
}

}  // namespace host
