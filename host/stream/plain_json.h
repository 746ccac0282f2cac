#pragma once

#include <cstddef>
#include <vector>

#include "host/stream/json_line.h"

namespace host::stream {

// Deeper than any line that means something, and shallow enough for recursion.
inline constexpr std::size_t MAX_DEPTH = 16;

// Takes down the tokens of a line that is JSON in ASCII without escapes in its texts and without exponents,
// as nearly all lines are. The text ends with a zero byte and is left as it is. False if the line is another
// one, good or not: then `tokens` mean nothing.
bool readPlainJson(const char* text, std::size_t size, std::vector<Token>& tokens);

}  // namespace host::stream
