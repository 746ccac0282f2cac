#pragma once

#include <memory>

#include "host/model/system_metadata.h"
#include "host/stream/object_reader.h"

namespace host::stream {

// Reads the keys of a system message that describe the machine and the collection.
std::unique_ptr<model::SystemMetadata> readSystemMetadata(ObjectReader& line);

}  // namespace host::stream
