// Where the results of a run lie.
#pragma once

#include <string>
#include <vector>

#include "host/session/delivery.h"

namespace host::session {

// The folder of a file, as its path says.
std::string folderOf(const std::string& path);

// What all runs of a folder share.
inline constexpr const char* AUTOMATION_FILE = "Automation_Summary.csv";

// True if the file can be made, or, if it is to have exactly this name, be written; else errno says why.
bool hasPlace(const std::string& file, bool isExact = true);

// Complains and returns false when one of the writers has no place that may be written under the output name
// `output`: a run that takes long had better not begin then. `isNumbered`: the results' names will have
// numbers in them.
bool checkPlaces(const std::vector<Delivery::Writer>& writers, const std::string& output, bool isNumbered);

}  // namespace host::session
