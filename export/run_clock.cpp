#include "export/run_clock.h"

#include <chrono>
#include <cmath>
#include <cstdio>

namespace exporting {

namespace {

constexpr long double LIMIT = 9223372036854775808.0L;  // 2^63

// The ticks from `from` to `to`, which 64 bits of mantissa hold exactly.
long double ticksBetween(std::uint64_t from, std::uint64_t to) {
    return to >= from ? static_cast<long double>(to - from) : -static_cast<long double>(from - to);
}

std::optional<std::int64_t> toNanoseconds(long double value) {
    const long double down = std::floor(value);
    if (!(down >= -LIMIT && down < LIMIT)) return std::nullopt;
    return static_cast<std::int64_t>(down);
}

}  // namespace

RunClock::RunClock(const pwr::SystemMetadata& metadata)
    : m_start(metadata.m_collectionStart), m_wallStart(metadata.m_collectionTime) {
    const double frequency = static_cast<double>(metadata.m_tscFrequency);
    if (std::isfinite(frequency) && frequency > 0) m_frequency = frequency;
}

double RunClock::secondsSinceStart(std::uint64_t tick) const {
    return seconds(static_cast<double>(ticksBetween(m_start, tick)));
}

std::optional<std::int64_t> RunClock::nanosecondsSinceStart(std::uint64_t tick) const {
    if (!hasSeconds()) return std::nullopt;
    return toNanoseconds(ticksBetween(m_start, tick) * 1000 / static_cast<long double>(m_frequency));
}

std::optional<std::int64_t> RunClock::wallNanoseconds(std::uint64_t tick) const {
    const std::optional<std::int64_t> start = wallStart();
    const std::optional<std::int64_t> since = nanosecondsSinceStart(tick);
    std::int64_t sum = 0;
    if (!start || !since || __builtin_add_overflow(*start, *since, &sum)) return std::nullopt;
    return sum;
}

std::optional<std::int64_t> RunClock::wallStart() const {
    if (m_wallStart == 0 || m_wallStart > INT64_MAX) return std::nullopt;
    return static_cast<std::int64_t>(m_wallStart);
}

std::string rfc3339(std::int64_t nanosecondsSince1970) {
    using namespace std::chrono;
    constexpr std::int64_t SECOND = 1000000000;
    std::int64_t fraction = nanosecondsSince1970 % SECOND;
    if (fraction < 0) fraction += SECOND;
    const std::int64_t whole = nanosecondsSince1970 / SECOND - (nanosecondsSince1970 % SECOND < 0 ? 1 : 0);
    const sys_seconds time{seconds(whole)};
    const sys_days day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss<seconds> clock(time - day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%09lldZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), static_cast<long long>(fraction));
    return text;
}

}  // namespace exporting
