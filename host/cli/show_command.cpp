#include "host/cli/commands.h"

namespace host::cli {

void addShowCommand(CLI::App&, Command&) {}

}  // namespace host::cli
