#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "pwr/system_metadata.h"

namespace exporting {

// Turns the ticks of a run into seconds and into times of day.
//
// A tick takes 1 / (frequency in MHz) microseconds. The time of day is the clock value of the collection's
// start, in nanoseconds since 1970-01-01 00:00 UTC, plus the ticks since that start. A frequency that is not
// above 0 says nothing about time, nor does a clock value of 0.
class RunClock {
public:
    // A clock of which nothing is known.
    RunClock() = default;

    // Takes what the metadata say now.
    explicit RunClock(const pwr::SystemMetadata& metadata);

    // True if ticks can be turned into seconds.
    bool hasSeconds() const { return m_frequency > 0; }

    // True if the times of day are known.
    bool hasWallTime() const { return hasSeconds() && m_wallStart != 0; }

    // The length of an interval in seconds, correctly rounded up to 2^53 ticks. There must be seconds.
    double seconds(double ticks) const { return ticks / ticksPerSecond(); }

    // Exact, and 0 if there are no seconds.
    double ticksPerSecond() const { return m_frequency * 1e6; }

    // Seconds from the collection's start to the tick, negative before it. There must be seconds.
    double secondsSinceStart(std::uint64_t tick) const;

    // Nanoseconds from the collection's start to the tick, rounded down. None without seconds, and beyond 63
    // bits.
    std::optional<std::int64_t> nanosecondsSinceStart(std::uint64_t tick) const;

    // Nanoseconds since 1970 at the tick, rounded down. None without a time of day, and beyond 63 bits.
    std::optional<std::int64_t> wallNanoseconds(std::uint64_t tick) const;

    // The collection's start in nanoseconds since 1970. None if it is not known, and beyond 63 bits. Needs no
    // seconds.
    std::optional<std::int64_t> wallStart() const;

private:
    double m_frequency = 0;         // ticks per microsecond; 0: not known
    std::uint64_t m_start = 0;      // ticks
    std::uint64_t m_wallStart = 0;  // nanoseconds since 1970; 0: not known
};

// A time of day in UTC as in RFC 3339 with nine digits of the second: "2026-11-21T09:06:56.000000000Z".
std::string rfc3339(std::int64_t nanosecondsSince1970);

}  // namespace exporting
