#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "host/importers/input.h"
#include "host/importers/input_kinds.h"
#include "host/stream/message_sink.h"

namespace host::cli {

// What a result or a recording is, without its samples.
struct RunSummary {
    std::string kind, run, host, cpu, kernel;
    std::uint64_t start = 0;  // nanoseconds since 1970 in UTC, 0 if unknown
    double durationSec = 0;
    std::uint64_t metrics = 0;  // that have samples
    std::uint64_t samples = 0;  // elements of all samples
    std::uint64_t losses = 0;   // that its notes report
    std::uint64_t size = 0;     // bytes of the file
};

// Reads an input through. Returns false with `error`, a line for the user, if it is of no known kind or
// damaged; the summary then is of what stands before. The model must be empty and is left in use.
bool summarise(importers::Input& input, RunSummary& summary, std::string& error);

}  // namespace host::cli
