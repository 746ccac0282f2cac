// Time as the recorder sees it.
#pragma once

#include <cstdint>
#include <string>

namespace host::record {

class Clock {
public:
    virtual ~Clock() = default;

    // The time stamp counter now.
    virtual std::uint64_t ticks() = 0;

    // Its frequency in MHz, the same for the whole run and above 0.
    virtual double ticksPerUsec() const = 0;

    // Nanoseconds since 1970.
    virtual std::int64_t wallNanoseconds() = 0;

    // Sleeps until the counter has reached `ticks`, or something is to be read. False: the collection is to
    // end now; `interruption` says by what, if that is before its time.
    virtual bool waitUntil(std::uint64_t ticks) = 0;

    // From here on, sleep also ends when the descriptor is readable; -1: none.
    virtual void wakeOn(int /*descriptor*/) {}

    // How long the machine has slept, by the same counter, since the last call; 0 if it has not.
    virtual std::uint64_t takeSuspendedTicks() { return 0; }

    // CPU time of this process in microseconds.
    virtual std::uint64_t cpuUsec() = 0;

    virtual std::string interruption() const = 0;
};

}  // namespace host::record
