#include "host/base/instant.h"

#include <charconv>
#include <chrono>
#include <cstddef>
#include <ctime>

#include "host/base/text.h"

namespace host::base {

namespace {

constexpr std::uint64_t SECOND = 1000000000;
constexpr std::int64_t LAST_SECOND = INT64_MAX / static_cast<std::int64_t>(SECOND) - 1;

// Takes exactly `digits` digits off the front of the text.
bool takeDigits(std::string_view& text, std::size_t digits, int& number) {
    if (text.size() < digits) return false;
    number = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        if (!isDigit(text[i])) return false;
        number = number * 10 + (text[i] - '0');
    }
    text.remove_prefix(digits);
    return true;
}

bool takeOneOf(std::string_view& text, std::string_view characters) {
    if (text.empty() || characters.find(text.front()) == std::string_view::npos) return false;
    text.remove_prefix(1);
    return true;
}

// Takes a fraction of a second, "." and digits, if there is one.
bool takeFraction(std::string_view& text, std::uint64_t& nanoseconds) {
    nanoseconds = 0;
    if (!takeOneOf(text, ".")) return true;
    if (text.empty() || !isDigit(text.front())) return false;
    for (std::uint64_t place = SECOND / 10; !text.empty() && isDigit(text.front()); place /= 10) {
        nanoseconds += place * static_cast<std::uint64_t>(text.front() - '0');
        text.remove_prefix(1);
    }
    return true;
}

// Takes "Z" or an offset, in seconds.
bool takeOffset(std::string_view& text, std::int64_t& offset) {
    offset = 0;
    if (takeOneOf(text, "Zz")) return true;
    const bool isWest = !text.empty() && text.front() == '-';
    int hours = 0;
    int minutes = 0;
    if (!takeOneOf(text, "+-") || !takeDigits(text, 2, hours) || !takeOneOf(text, ":") ||
        !takeDigits(text, 2, minutes) || hours > 23 || minutes > 59)
        return false;
    offset = std::int64_t{hours * 60 + minutes} * (isWest ? -60 : 60);
    return true;
}

// Takes date and time of day with their offset; fills `seconds` since 1970.
bool takeDateTime(std::string_view& text, std::int64_t& seconds, std::uint64_t& nanoseconds) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::int64_t offset = 0;
    if (!takeDigits(text, 4, year) || !takeOneOf(text, "-") || !takeDigits(text, 2, month) ||
        !takeOneOf(text, "-") || !takeDigits(text, 2, day) || !takeOneOf(text, "Tt ") ||
        !takeDigits(text, 2, hour) || !takeOneOf(text, ":") || !takeDigits(text, 2, minute) ||
        !takeOneOf(text, ":") || !takeDigits(text, 2, second) || !takeFraction(text, nanoseconds) ||
        !takeOffset(text, offset))
        return false;
    const std::chrono::year_month_day date{std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!date.ok() || hour > 23 || minute > 59 || second > 60) return false;  // 60: a leap second
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    seconds = ((days * 24 + hour) * 60 + minute) * 60 + second - offset;
    return true;
}

bool takeSeconds(std::string_view& text, std::int64_t& seconds, std::uint64_t& nanoseconds) {
    if (text.empty() || !isDigit(text.front())) return false;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return takeFraction(text, nanoseconds);
}

}  // namespace

std::optional<std::uint64_t> parseInstant(std::string_view text) {
    const bool isDate = text.size() > 4 && text[4] == '-';
    std::int64_t seconds = 0;
    std::uint64_t nanoseconds = 0;
    const bool isRead =
        isDate ? takeDateTime(text, seconds, nanoseconds) : takeSeconds(text, seconds, nanoseconds);
    if (!isRead || !text.empty() || seconds < 0 || seconds > LAST_SECOND) return std::nullopt;
    const std::uint64_t instant = static_cast<std::uint64_t>(seconds) * SECOND + nanoseconds;
    if (instant == 0) return std::nullopt;  // which stands for no time at all
    return instant;
}

std::string localTimeText(std::uint64_t nanoseconds) {
    const auto seconds = static_cast<std::time_t>(nanoseconds / SECOND);
    std::tm parts{};
    ::localtime_r(&seconds, &parts);
    char text[40];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts)};
}

}  // namespace host::base
