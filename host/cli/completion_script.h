// What shells need to complete the words of a command line, made from the options as they are defined.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace host::cli {

// Scripts that define the completion of `program`, to be read by the shell. Values of --writers come from the
// program itself each time, as they depend on the plug-in libraries.
std::string bashCompletion(const CLI::App& program);
std::string zshCompletion(const CLI::App& program);

}  // namespace host::cli
