// The subcommands. Each adds itself to the command line and, if it was chosen, sets the program's exit
// status.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace host::cli {

// What to do once the command line has been read; returns the exit status.
using Command = std::function<int()>;

void addListCommand(CLI::App& program, Command& chosen);
void addReplayCommand(CLI::App& program, Command& chosen);
void addRecordCommand(CLI::App& program, Command& chosen);
void addShowCommand(CLI::App& program, Command& chosen);

}  // namespace host::cli
