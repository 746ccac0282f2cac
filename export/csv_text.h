#pragma once

#include <string>
#include <string_view>

namespace exporting {

// Appends a field of a row of comma-separated values as in RFC 4180: in quotes, with quotes doubled, if it
// holds a comma, a quote or a line end, else as it is. The text is cleaned (clean_text.h).
void appendCsv(std::string_view text, std::string& row);

}  // namespace exporting
