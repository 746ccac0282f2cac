#pragma once

#include <cstdint>
#include <string_view>

namespace host::compare {

// What a field of an automation file holds.
struct Cell {
    enum Kind : std::uint8_t { Number, Missing, Text };

    Kind m_kind;
    double m_number = 0;  // finite, never -0
};

// Reads a decimal number: sign, digits, point, exponent, with blanks around. One that is too large for a
// double is a text; one that is too small is 0. Blanks alone, and "Invalid", are missing.
Cell readCell(std::string_view text);

}  // namespace host::compare
