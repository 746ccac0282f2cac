// Conversions of numbers that are defined for every argument.
#pragma once

#include <cstdint>
#include <limits>

// Truncates toward zero; what does not fit saturates, and not-a-number gives 0.
template <typename Integer, typename Real>
inline Integer truncateSaturated(Real value) {
    constexpr Integer lowest = std::numeric_limits<Integer>::min();
    constexpr Integer highest = std::numeric_limits<Integer>::max();
    if (!(value == value)) return 0;
    if (value <= static_cast<Real>(lowest)) return lowest;
    if (value >= static_cast<Real>(highest)) return highest;
    return static_cast<Integer>(value);
}
