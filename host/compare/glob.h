#pragma once

#include <string>

namespace host::compare {

// Whether a shell pattern (*, ?, [...]) matches the whole text. Case counts, ? is one character of UTF-8, and
// nothing escapes: a backslash is one.
bool matches(const std::string& glob, const std::string& text);

}  // namespace host::compare
