#pragma once

#include <string>
#include <string_view>

namespace host::base {

// Writes everything, through interruptions and short writes. Returns 0 or an errno value.
int writeAll(int descriptor, std::string_view bytes);

// Reads until the end, or an error.
std::string readAll(int descriptor);

// What a file holds; nothing where it can't be read.
std::string fileText(const std::string& path);

}  // namespace host::base
