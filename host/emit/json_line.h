// One line of the stream, for those that are not written at every sample.
#pragma once

#include "host/base/json_printer.h"
#include "host/emit/output.h"
#include "host/stream/vocabulary.h"

namespace host::emit {

// The words of the stream, for all who write it.
namespace key = stream::key;
namespace definition = stream::definition;
namespace message = stream::message;

// JsonLine(key::DEFINITION, definition::ENTITY).member(key::ID, 1).writeTo(output);
using JsonLine = base::JsonPrinter;

}  // namespace host::emit
