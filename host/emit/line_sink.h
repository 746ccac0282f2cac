#pragma once

#include <functional>
#include <string_view>

namespace host::emit {

// Takes one line of the stream, without its line end; false: the stream is not wanted any further.
using LineSink = std::function<bool(std::string_view)>;

}  // namespace host::emit
