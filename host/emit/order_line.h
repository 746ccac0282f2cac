// The user's order of the report as a line of the stream.
#pragma once

#include <string>

namespace host::emit {

// The output configuration in the file at `path`, which has been found to be one; empty if it can't be read.
std::string orderLine(const std::string& path);

}  // namespace host::emit
