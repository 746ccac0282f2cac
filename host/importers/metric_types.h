#pragma once

#include <cstdint>
#include <string_view>

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
    constexpr std::string_view NAMES[] = {"SAMPLED_DELTA", "SAMPLED_RESIDENCY", "SAMPLED_VALUE",
                                          "TRACED_VALUE_TRANSITION", "TRACED_EVENT"};
    std::uint8_t type = 0;
    while (type < METRIC_UNKNOWN && NAMES[type] != name) ++type;
    return type;
}

}  // namespace host::importers
