#pragma once

#include <string>

#include "host/model/output_configuration.h"

namespace host::session {

// Reads the output configuration in the file at `path`, one JSON object that may span lines. Returns false
// with `error` set, naming the file and where it can the line.
bool readOrderFile(const std::string& path, model::OutputConfiguration& out, std::string& error);

}  // namespace host::session
