#include "host/importers/tick_clock.h"

#include <cmath>

#include "plugins/numbers.h"

namespace host::importers {

namespace {

// No clock of a processor is outside this range.
constexpr double LEAST_MHZ = 1.0;
constexpr double MOST_MHZ = 20000.0;

// Results hold the duration in single precision: what is that near to a whole frequency is one.
constexpr double SAME = 2e-7;

std::uint64_t microsecondsOf(std::uint64_t ticks, float factor) {
    return truncateSaturated<std::uint64_t>(static_cast<float>(ticks) * factor);
}

}  // namespace

TickClock TickClock::fromSpan(std::uint64_t start, std::uint64_t stop, double seconds) {
    if (stop <= start || !(seconds > 0.0)) return {};
    const double frequency = static_cast<double>(stop - start) / seconds / 1e6;
    if (!(frequency >= LEAST_MHZ) || frequency > MOST_MHZ) return {};
    const double whole = std::round(frequency);
    return TickClock(static_cast<float>(std::abs(frequency - whole) <= SAME * whole ? whole : frequency));
}

std::uint64_t TickClock::ticksOf(double microseconds) const {
    const double period = static_cast<double>(m_factor);
    auto ticks = truncateSaturated<std::uint64_t>(microseconds / period);
    const auto time = [&] { return std::trunc(static_cast<double>(ticks) * period); };
    if (time() > microseconds && ticks > 0) --ticks;
    if (time() < microseconds && ticks != UINT64_MAX) ++ticks;
    return ticks;
}

bool TickClock::ticksOfSingle(std::uint64_t microseconds, std::uint64_t& ticks) const {
    constexpr int NEIGHBOURS = 4;
    float guess = static_cast<float>(microseconds) / m_factor;
    for (int i = 0; i < NEIGHBOURS; ++i) guess = std::nextafter(guess, 0.0F);
    for (int i = 0; i <= 2 * NEIGHBOURS; ++i, guess = std::nextafter(guess, INFINITY)) {
        ticks = truncateSaturated<std::uint64_t>(std::ceil(guess));
        if (microsecondsOf(ticks, m_factor) == microseconds) return true;
    }
    return false;
}

}  // namespace host::importers
