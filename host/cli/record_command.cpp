#include "host/cli/commands.h"

namespace host::cli {

void addRecordCommand(CLI::App&, Command&) {}

}  // namespace host::cli
