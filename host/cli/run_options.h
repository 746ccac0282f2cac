#pragma once

#include "host/session/run.h"

namespace CLI {
class App;
}

namespace host::cli {

// Adds the options that replay and record have in common. `options` must outlive the parsing.
void addRunOptions(CLI::App& command, session::RunOptions& options);

}  // namespace host::cli
