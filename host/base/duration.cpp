#include "host/base/duration.h"

#include <charconv>
#include <cmath>

#include "host/base/text.h"

namespace host::base {

namespace {

constexpr double LONGEST = 100.0 * 366 * 86400;

struct Unit {
    std::string_view name;
    double seconds;
};

constexpr Unit UNITS[] = {{"ms", 1e-3}, {"s", 1}, {"m", 60}, {"h", 3600}};

}  // namespace

std::optional<double> parseDuration(std::string_view text, double secondsPerUnit) {
    text = trimmed(text);
    double number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (error != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    double factor = text.empty() ? secondsPerUnit : 0;
    for (const Unit& unit : UNITS)
        if (text == unit.name) factor = unit.seconds;
    // Whole milliseconds stay what they are: 250 * 1e-3 is not 250 / 1e3 to the last bit.
    const double seconds = factor == 1e-3 ? number / 1e3 : number * factor;
    if (factor == 0 || !std::isfinite(number) || std::signbit(number) || seconds > LONGEST)
        return std::nullopt;
    return seconds;
}

std::string notADuration(std::string_view text, std::string_view unit) {
    return "not a number of " + std::string(unit) + ": \"" + std::string(text) +
           "\"; a unit may follow the number: 250ms, 90s, 3m, 1h";
}

}  // namespace host::base
