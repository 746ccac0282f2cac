// Numbers as the host prints them: never through a locale, and not-a-number without its sign.
#pragma once

#include <string>

namespace host::model {

// Append the number in decimal; a real with two decimals, as by "%.2f".
void appendNumber(std::string& out, long value);
void appendNumber(std::string& out, unsigned long value);
void appendNumber(std::string& out, double value);

// Appends the number as by "%*.*f" with `width` and `precision`.
void appendReal(std::string& out, double value, int width, int precision);

}  // namespace host::model
