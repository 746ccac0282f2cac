// Where a recording will be written.
#pragma once

#include <string>

namespace host::record {

// Complains and returns false when the results of these writers (option names with commas between) under the
// output name `output` have no place that may be written: better now than after an hour of measuring.
bool checkPlaces(const std::string& writers, const std::string& output);

}  // namespace host::record
