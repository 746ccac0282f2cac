// Cells of the tables.
#pragma once

#include <cstdint>
#include <string>

#include "host/base/text.h"

namespace host::kernel_events {

// Stamps are nanoseconds.
constexpr double TICKS_PER_USEC = 1000.0;

inline std::string cpuText(std::uint32_t number) {
    return "CPU" + std::to_string(number);
}

inline std::string msecText(std::uint64_t ticks, int decimals) {
    return base::fixedText(static_cast<double>(ticks) / 1e6, decimals);
}

inline std::string usecText(double ticks) {
    return base::fixedText(ticks / TICKS_PER_USEC, 2);
}

inline std::string shareText(double part, double whole) {
    return base::fixedText(whole > 0 ? 100.0 * part / whole : 0.0, 2);
}

inline std::string shareText(std::uint64_t part, std::uint64_t whole) {
    return shareText(static_cast<double>(part), static_cast<double>(whole));
}

inline std::string rateText(std::uint64_t count, std::uint64_t ticks) {
    return base::fixedText(ticks > 0 ? static_cast<double>(count) * 1e9 / static_cast<double>(ticks) : 0.0,
                           2);
}

}  // namespace host::kernel_events
