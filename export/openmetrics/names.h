#pragma once

#include <string>
#include <string_view>

namespace exporting::openmetrics {

// The text with its ASCII letters and digits in lower case and single underscores for what is between them:
// "CPU Time (States)" becomes "cpu_time_states". May be empty.
std::string snakeCase(std::string_view text);

// A unit as the format wants it: seconds, bytes, watts, not their multiples.
struct Unit {
    std::string name;      // in snake case; empty if there is none
    double factor = 1;     // a number of the stream's units times `factor`, divided by `divisor`, is in
    double divisor = 1;    // these units; one of them is 1, so that the result is correctly rounded
    bool isTicks = false;  // the numbers are ticks: the divisor is to be that of the run's clock
};

// The unit for what a message stream calls `units`.
Unit baseUnit(std::string_view units);

// The name of a family of series: `name` in snake case, and "_" + `unit` unless it ends in that or is that.
std::string familyName(std::string_view name, std::string_view unit);

// True if `name` ends in "_" + `suffix`.
bool hasSuffix(std::string_view name, std::string_view suffix);

// True if a label may have the name.
bool isLabelName(std::string_view name);

// Appends `text`, cleaned (clean_text.h), as it stands between quotes: with \\, \" and \n.
void appendEscaped(std::string_view text, std::string& out);

}  // namespace exporting::openmetrics
