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
//
// What is read into is not set before: processors take the number that was stored here for the one that the
// host has stored through its pointer since, and begin again when they find out.
inline bool readNumber(const pwr::Data& value, double& number) {
    unsigned long unsignedNumber;
    long signedNumber;
    switch (value.m_type) {
        case pwr::DATA_UINT:
            if (value.toUInt(unsignedNumber) != 0) return false;
            number = static_cast<double>(unsignedNumber);
            return true;
        case pwr::DATA_INT:
            if (value.toInt(signedNumber) != 0) return false;
            number = static_cast<double>(signedNumber);
            return true;
        case pwr::DATA_REAL:
            return value.toReal(number) == 0;
        default:
            return false;
    }
}
