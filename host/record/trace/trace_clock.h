#pragma once

#include <cstdint>
#include <deque>

namespace host::record {

// Turns stamps of a trace into ticks of the recording's clock. Readings of both at the same moments are added
// as time goes on; between two of them both clocks go evenly.
class TraceClock {
public:
    // A reading: later than the one before by both clocks, else it is left out.
    void add(std::uint64_t stamp, std::uint64_t ticks);

    // The ticks at a stamp. What lies before the first or after the last reading goes as beside it. After
    // the second reading.
    std::uint64_t ticks(std::uint64_t stamp) const;

    // The stamp at these ticks.
    std::uint64_t stamp(std::uint64_t ticks) const;

private:
    struct Reading {
        std::uint64_t stamp;
        std::uint64_t ticks;
    };
    std::deque<Reading> m_readings;
};

}  // namespace host::record
