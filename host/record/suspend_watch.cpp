#include "host/record/suspend_watch.h"

#include <cmath>
#include <utility>

namespace host::record {

namespace {

constexpr std::int64_t SHORTEST_NSEC = 500'000'000;

// The counter is taken to have missed a sleep if it is so far from where it should be.
constexpr double MOST_USEC_OFF = 50'000.0;

}  // namespace

void SuspendWatch::update(const Reading& now) {
    const std::int64_t passed = now.bootNsec - m_last.bootNsec;
    const std::int64_t slept = passed - (now.runningNsec - m_last.runningNsec);
    if (slept >= SHORTEST_NSEC) {
        const double usec = static_cast<double>(passed) / 1000.0;
        const auto expected = m_last.counter + static_cast<std::uint64_t>(usec * m_ticksPerUsec);
        const auto off = static_cast<double>(static_cast<std::int64_t>(expected - now.counter));
        if (std::abs(off) / m_ticksPerUsec > MOST_USEC_OFF) m_offset += expected - now.counter;
        m_slept += static_cast<std::uint64_t>(static_cast<double>(slept) / 1000.0 * m_ticksPerUsec);
    }
    m_last = now;
}

std::uint64_t SuspendWatch::take() {
    return std::exchange(m_slept, 0);
}

}  // namespace host::record
