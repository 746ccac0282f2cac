#pragma once

#include <string>

#include "host/session/run.h"

namespace CLI {
class App;
}

namespace host::cli {

// Adds the options that replay and record have in common. `options` must outlive the parsing.
void addRunOptions(CLI::App& command, session::RunOptions& options);

// Complains and returns false if both the result and the stream, which is kept in the file `save`, are to go
// to standard output.
bool checkStandardOutput(const session::RunOptions& options, const std::string& save);

}  // namespace host::cli
