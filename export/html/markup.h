#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace exporting {

// Appends the text as it is.
void appendText(std::vector<char>& page, std::string_view text);

// Appends a text for an element's content or an attribute in quotation marks. A zero byte becomes U+FFFD.
void appendEscaped(std::vector<char>& page, std::string_view text);

// Appends a JSON string that can stand in a script element: no character of it begins markup.
void appendJsonText(std::vector<char>& page, std::string_view text);

// Appends the shortest text that reads back as the same number; null for one that is not finite.
void appendJsonNumber(std::vector<char>& page, double number);

}  // namespace exporting
