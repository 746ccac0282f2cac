#pragma once

#include <cstddef>
#include <string>

#include "host/compare/group.h"
#include "host/stream/line_source.h"

namespace host::compare {

// Adds the run that a message stream (docs/stream.md) holds to the group, unless the argument's pattern does
// not match its output name, which is the file's name without what follows the first dot. `text` and `size`
// are the first line, which has been taken from `source` already. Returns false with a message in `error` if
// the stream is bad or holds no run. Uses and resets the process's registry.
bool readStream(char* text, std::size_t size, stream::LineSource& source, const Argument& argument,
                Group& group, std::string& error);

}  // namespace host::compare
