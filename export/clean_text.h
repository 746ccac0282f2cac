#pragma once

#include <string>
#include <string_view>

namespace exporting {

// The text as UTF-8 without zero bytes: U+FFFD stands in the place of each zero byte and of each byte that is
// not part of a well-formed character. Returns `text` itself where there is nothing to replace, else a view
// of `scratch`.
std::string_view cleanText(std::string_view text, std::string& scratch);

}  // namespace exporting
