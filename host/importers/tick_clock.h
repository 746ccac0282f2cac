#pragma once

#include <cstdint>

namespace host::importers {

// The clock of a run whose frequency its result does not tell. Writers reckon with microseconds per tick in
// single precision; what they have written can be given back only by reckoning as they do.
class TickClock {
public:
    // A clock of 1 MHz: ticks are microseconds.
    TickClock() : TickClock(1.0F) {}
    explicit TickClock(float frequencyMHz) : m_frequency(frequencyMHz), m_factor(1.0F / frequencyMHz) {}

    // The clock that has made `stop` - `start` ticks in so many seconds; that of 1 MHz if that can't be
    // right.
    static TickClock fromSpan(std::uint64_t start, std::uint64_t stop, double seconds);

    float frequencyMHz() const { return m_frequency; }
    float factor() const { return m_factor; }

    // Ticks that come out as so many whole microseconds in double precision, cut to a whole number.
    std::uint64_t ticksOf(double microseconds) const;

    // The same in single precision. False if no number of ticks does.
    bool ticksOfSingle(std::uint64_t microseconds, std::uint64_t& ticks) const;

private:
    float m_frequency;
    float m_factor;  // microseconds per tick
};

}  // namespace host::importers
