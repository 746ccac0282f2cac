// Where the results of a run lie.
#pragma once

#include <string>
#include <vector>

#include "host/session/delivery.h"

namespace host::session {

// The folder of a file, as its path says.
std::string folderOf(const std::string& path);

// Complains and returns false when one of the writers has no place that may be written under the output name
// `output`: a run that takes long had better not begin then.
bool checkPlaces(const std::vector<Delivery::Writer>& writers, const std::string& output);

}  // namespace host::session
