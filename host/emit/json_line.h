// One line of the stream, for those that are not written at every sample.
#pragma once

#include "host/base/json_printer.h"
#include "host/emit/output.h"

namespace host::emit {

// JsonLine("def", "entity").member("id", 1).member("name", "CPU0").writeTo(output);
using JsonLine = base::JsonPrinter;

}  // namespace host::emit
