#pragma once

#include <string>

namespace host::cli {

// What `--version` prints: the program, its plug-in libraries, the versions of the formats that it reads and
// writes, and how it was built. No date, so that equal sources give equal programs.
std::string versionText();

}  // namespace host::cli
