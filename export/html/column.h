#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace exporting {

// How a column of numbers stands in a block (see docs/formats/html.md).
enum class ColumnKind : std::uint8_t {
    Constant = 0,  // one double: all are equal
    Same = 1,      // as the column of that place in the series before
    Copy = 2,      // as an earlier column of this series
    Integers = 3,  // integers over a power of ten, by offset or differences
    Decimals = 4,  // integers, each over a power of ten of its own
    Doubles = 5,   // as they are
};

// What the integers of a column are relative to.
enum class ColumnOrder : std::uint8_t {
    Offset = 0,      // the base
    Difference = 1,  // the number before
    Curvature = 2,   // the number that would continue the step before
};

// Appends the encoded column to `out`: a byte for the kind, its parameters, and the bytes of the numbers, all
// lowest bytes first, then all second ones, as they compress best. Numbers must be finite. What is read
// back is equal to the last bit, but for the sign of zero.
void encodeColumn(std::span<const double> numbers, std::vector<std::uint8_t>& out);

// The same as a reference to an earlier column of the same series.
void encodeCopy(std::uint8_t column, std::vector<std::uint8_t>& out);

// The same as the column of the series before.
void encodeSame(std::vector<std::uint8_t>& out);

}  // namespace exporting
