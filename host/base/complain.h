#pragma once

#include <string_view>

namespace host::base {

// Writes a line of the program's own, "pwrhost: TEXT", to standard error in one call. Needs no memory.
void complain(std::string_view text);

}  // namespace host::base
