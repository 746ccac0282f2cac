#pragma once

#include <cstdint>
#include <string_view>

#include "host/stream/vocabulary.h"

namespace host::importers {

// Types of metrics by their number in a stream.
enum MetricType : std::uint8_t {
    METRIC_DELTA,
    METRIC_RESIDENCY,
    METRIC_VALUE,
    METRIC_TRANSITION,
    METRIC_EVENT,
    METRIC_UNKNOWN,
};

// The type of a name such as "SAMPLED_DELTA".
inline std::uint8_t metricTypeOf(std::string_view name) {
    std::uint8_t type = 0;
    while (type < METRIC_UNKNOWN && stream::METRIC_TYPES[type] != name) ++type;
    return type;
}

}  // namespace host::importers
