#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace host::importers {

// The order in which the states of a category must be told so that its writer, which sorts them, puts them
// into the order in which `states` stand. Indices into `states`; that order itself if there is no other.
std::vector<std::size_t> orderOfStates(const std::vector<std::string>& states);

}  // namespace host::importers
