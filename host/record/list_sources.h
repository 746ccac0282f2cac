// The list of what can be recorded.
#pragma once

#include "host/record/record_options.h"

namespace host::record {

// Prints a line for each metric to standard output: its source, name and units, how many entities it has
// here, whether it would be recorded and why not, and the files that it is read from. Returns the exit
// status.
int listSources(const RecordOptions& options);

}  // namespace host::record
