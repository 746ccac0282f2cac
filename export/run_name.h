#pragma once

#include <string>
#include <string_view>

namespace exporting {

// The name of a run in results that several runs may share: the last part of the output name, "run" where
// that is empty.
std::string runName(std::string_view outputName);

}  // namespace exporting
