#pragma once

#include <cstdint>

#include "pwr/metric.h"

namespace exporting {

// An element of a series as it came.
struct Sample {
    std::int64_t time;       // ticks since the collection's start
    std::uint64_t duration;  // ticks
    double value;            // not-a-number for an element that is only counted
};

// What is kept of the elements of a series whose time stamps lie in the same interval of the grid.
struct Leaf {
    std::int64_t first = 0;      // time stamp of the first element, ticks since the collection's start
    std::int64_t last = 0;       // of the last one
    double duration = 0;         // ticks; of values and deltas only where they take part in `weighted`
    double sum = 0;              // of the values
    double weighted = 0;         // values: of value x duration (ticks); deltas: of those with a duration
    double least = 0;            // of the values, or of the rates of deltas with a duration
    double most = 0;             // likewise
    std::uint32_t count = 0;     // of elements
    std::uint32_t skipped = 0;   // of those that are only counted
    std::uint32_t measured = 0;  // of those that take part in least and most
};

// What turns the elements of a metric into numbers.
struct Measure {
    pwr::Metric::MetricType type;
    double factor;          // of a delta's rate, 1 where it has none
    double ticksPerSecond;  // above 0
};

// The leaf of a single element. `before` is the time stamp of the series' element before, or the element's
// own where there is none: a value without a duration holds since then.
Leaf leafOf(const Sample& sample, std::int64_t before, const Measure& measure);

// Adds the elements of `next`, which come after those of `leaf`.
void mergeInto(Leaf& leaf, const Leaf& next);

}  // namespace exporting
