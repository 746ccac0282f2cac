// Notices that the machine has slept, by the clocks that go on meanwhile and those that do not.
#pragma once

#include <cstdint>

namespace host::record {

class SuspendWatch {
public:
    // What the clocks show at one moment.
    struct Reading {
        std::uint64_t counter;     // the time stamp counter, which may stand still or restart in a sleep
        std::int64_t bootNsec;     // goes on in a sleep
        std::int64_t runningNsec;  // stands still in it
    };

    SuspendWatch(double ticksPerUsec, const Reading& first) : m_ticksPerUsec(ticksPerUsec), m_last(first) {}

    // To be called at least as often as a sleep is to be distinguished from the next.
    void update(const Reading& now);

    // What is added to the counter, so that it goes on through sleeps.
    std::uint64_t offset() const { return m_offset; }

    // Ticks of the sleeps since the last call.
    std::uint64_t take();

private:
    double m_ticksPerUsec;
    Reading m_last;
    std::uint64_t m_offset = 0;
    std::uint64_t m_slept = 0;  // ticks
};

}  // namespace host::record
