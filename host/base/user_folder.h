#pragma once

#include "host/base/descriptor.h"

namespace host::base {

// The folder from which the user called the program, for openat and its like. Relative names that the user
// gives mean something there, also while the process works in a folder of its own. AT_FDCWD as long as it
// does not.
int userFolder();

// Sets what userFolder returns; AT_FDCWD again when the argument is not open.
void setUserFolder(const Descriptor& folder);

}  // namespace host::base
