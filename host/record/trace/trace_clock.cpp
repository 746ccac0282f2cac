#include "host/record/trace/trace_clock.h"

#include <algorithm>
#include <cstddef>

namespace host::record {

namespace {

// What is kept: intervals that began long ago are converted by the rate of the oldest that is.
constexpr std::size_t MOST_READINGS = 4096;

std::uint64_t scaled(std::uint64_t base, std::uint64_t from, std::uint64_t at, std::uint64_t length,
                     std::uint64_t wanted) {
    const auto rate = static_cast<long double>(wanted) / static_cast<long double>(length);
    const auto step = static_cast<long double>(static_cast<std::int64_t>(at - from)) * rate;
    return base + static_cast<std::uint64_t>(static_cast<std::int64_t>(step));
}

}  // namespace

void TraceClock::add(std::uint64_t stamp, std::uint64_t ticks) {
    if (!m_readings.empty() && (stamp <= m_readings.back().stamp || ticks <= m_readings.back().ticks)) return;
    m_readings.push_back({stamp, ticks});
    if (m_readings.size() > MOST_READINGS) m_readings.pop_front();
}

// Most stamps are of the time since the last reading but one.
std::uint64_t TraceClock::ticks(std::uint64_t stamp) const {
    auto end = m_readings.end() - 1;
    if (stamp < (end - 1)->stamp)
        end = std::partition_point(m_readings.begin() + 1, end,
                                   [&](const Reading& reading) { return reading.stamp < stamp; });
    const Reading& first = *(end - 1);
    return scaled(first.ticks, first.stamp, stamp, end->stamp - first.stamp, end->ticks - first.ticks);
}

std::uint64_t TraceClock::stamp(std::uint64_t ticks) const {
    const auto end = std::partition_point(m_readings.begin() + 1, m_readings.end() - 1,
                                          [&](const Reading& reading) { return reading.ticks < ticks; });
    const Reading& first = *(end - 1);
    return scaled(first.stamp, first.ticks, ticks, end->ticks - first.ticks, end->stamp - first.stamp);
}

}  // namespace host::record
