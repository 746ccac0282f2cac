#pragma once

#include "host/base/descriptor.h"

namespace host::base {

// Makes a file without a name in the working directory, open to read and write, which vanishes with the
// process however it ends. Not open, and errno set, if that fails.
Descriptor makeUnnamedFile();

}  // namespace host::base
