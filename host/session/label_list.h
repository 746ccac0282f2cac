#pragma once

#include <string>
#include <vector>

namespace host::session {

// Hands labels, each KEY=VALUE, to the writers: in the environment variable PWR_LABELS, a line for each in
// which "\\" stands for a backslash and "\n" for a line end. An empty list leaves the variable as it is.
// Returns false with `error` set if one is no label: a key is made of letters, digits and underscores.
bool publishLabels(const std::vector<std::string>& labels, std::string& error);

}  // namespace host::session
