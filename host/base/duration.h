#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace host::base {

// Reads a length of time as people write it: a number alone, or with a unit, "250ms", "90s", "3m", "1.5h". A
// number alone counts in units of `secondsPerUnit`. Returns seconds, or nothing if the text is no such
// number, negative, or beyond a hundred years.
std::optional<double> parseDuration(std::string_view text, double secondsPerUnit = 1);

// Why `text` is no length of time, for an error that names the option: "not a number of seconds: \"5x\" ...".
std::string notADuration(std::string_view text, std::string_view unit = "seconds");

}  // namespace host::base
