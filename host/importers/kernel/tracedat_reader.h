#pragma once

#include <cstdint>
#include <string>

namespace host::importers {

// Reads the trace.dat at `path`, as far as byte `end`, and sends what is in it into `pipe`. Meant for a
// process of its own: the libraries that know the format were not made for files that are damaged. Without
// them, sends a failure that says so.
void readTracedat(const std::string& path, std::uint64_t end, int pipe);

}  // namespace host::importers
