#pragma once

#include <string_view>

#include "export/result_file.h"

namespace exporting {

// Appends a text for an element's content or an attribute in quotation marks (see cleanText).
void appendEscaped(ResultFile& page, std::string_view text);

// Appends a JSON string that can stand in a script element: no character of it begins markup.
void appendJsonText(ResultFile& page, std::string_view text);

// Appends the shortest text that reads back as the same number; null for one that is not finite.
void appendJsonNumber(ResultFile& page, double number);

}  // namespace exporting
