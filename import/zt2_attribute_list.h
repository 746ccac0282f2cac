#pragma once

#include <cstdint>

#include "pwr/bin/pwr_records.h"

// One sample under construction: attributes in the order of the record. Whoever makes or reuses a list sets
// `count` to 0; the arrays need no clearing.
struct ZT2AttributeList {
    std::uint32_t types[vyrta::MAXIMUM_ATTRIBUTE_COUNT];   // see vyrta::AttributeKind
    std::uint64_t values[vyrta::MAXIMUM_ATTRIBUTE_COUNT];  // ids, numbers, bits of reals, ticks
    std::uint32_t count;                                   // entries in use
};
