#pragma once

#include <string>

namespace host::importers {

// Reads the trace.dat at `path` and sends what is in it into `pipe`. Meant for a process of its own: the
// libraries that know the format were not made for files that are damaged. Without them, sends a failure that
// says so.
void readTracedat(const std::string& path, int pipe);

}  // namespace host::importers
