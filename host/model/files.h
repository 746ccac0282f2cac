// Files by descriptor.
#pragma once

#include <cstddef>
#include <string>

namespace host::model {

// Writes everything, through interruptions and short writes. Returns 0 or an errno value.
int writeAll(int descriptor, const char* data, std::size_t size);

// Opens `path`, relative to `folder` (a descriptor, or AT_FDCWD), without waiting for anybody (a named pipe
// that nobody reads is an error) and, when `flags` say that it may create the file, without following a
// symbolic link in the last component. Returns a descriptor or -1 with errno set.
int openWithoutSurprise(int folder, const char* path, int flags);

}  // namespace host::model
