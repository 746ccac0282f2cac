// Reading and converting numbers, defined for every argument.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "pwr/data.h"

// Truncates toward zero; what does not fit saturates, and not-a-number gives 0.
template <typename Integer, typename Real>
inline Integer truncateSaturated(Real value) {
    constexpr Integer lowest = std::numeric_limits<Integer>::min();
    constexpr Integer highest = std::numeric_limits<Integer>::max();
    if (std::isnan(value)) return 0;
    if (value <= static_cast<Real>(lowest)) return lowest;
    if (value >= static_cast<Real>(highest)) return highest;
    return static_cast<Integer>(value);
}

// Reads a single number as a real: what convertToReal and toReal give, without a copy of the value. Returns
// false and leaves `number` alone if the value is of another kind.
inline bool readNumber(const pwr::Data& value, double& number) {
    unsigned long unsignedNumber = 0;
    long signedNumber = 0;
    switch (value.m_type) {
        case pwr::DATA_UINT:
            value.toUInt(unsignedNumber);
            number = static_cast<double>(unsignedNumber);
            return true;
        case pwr::DATA_INT:
            value.toInt(signedNumber);
            number = static_cast<double>(signedNumber);
            return true;
        case pwr::DATA_REAL:
            value.toReal(number);
            return true;
        default:
            return false;
    }
}
