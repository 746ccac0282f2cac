#pragma once

#include <string>

#include "host/base/descriptor.h"

namespace host::base {

// Makes a file without a name in a folder, the working directory if none is given, open to read and write,
// which vanishes with the process however it ends. Not open, and errno set, if that fails.
Descriptor makeUnnamedFile(const std::string& folder = ".");

}  // namespace host::base
