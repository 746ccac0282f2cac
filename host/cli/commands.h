// The subcommands. Each adds itself to the command line and, if the user gives it, becomes the chosen one.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace host::cli {

// What to do once the command line has been read; returns the exit status.
using Command = std::function<int()>;

void addCompletionCommand(CLI::App& program, Command& chosen);
void addInfoCommand(CLI::App& program, Command& chosen);
void addListCommand(CLI::App& program, Command& chosen);
void addReplayCommand(CLI::App& program, Command& chosen);
void addShowCommand(CLI::App& program, Command& chosen);

// How many words of the command line the parser is to see: of compare those before "--", as that parts its
// groups and the parser would not show where it stood.
int countParsedWords(const std::vector<std::string>& words);

// `words` is the command line as given.
void addCompareCommand(CLI::App& program, Command& chosen, const std::vector<std::string>& words);
void addRecordCommand(CLI::App& program, Command& chosen, const std::vector<std::string>& words);

}  // namespace host::cli
