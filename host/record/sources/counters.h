// What the sources of counters have in common.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/emit/counter_metric.h"

namespace host::record {

// The rate of a counter of `units`: of a time the share of it, in percent; else units per second.
inline std::pair<emit::QuantityDefinition, double> rateOf(const std::string& quantity,
                                                          const std::string& units) {
    using enum emit::QuantityKind;
    if (units == "msec") return {{Share, quantity + " Share", "%"}, 0.1};
    if (units == "usec") return {{Share, quantity + " Share", "%"}, 1e-4};
    return {{Rate, quantity + " Rate", units + "/s"}, 1.0};
}

inline emit::QuantityKind kindOf(const std::string& units) {
    using enum emit::QuantityKind;
    return units == "B" ? Size : units == "msec" || units == "usec" ? Time : Count;
}

inline emit::CounterSpec counterSpec(const std::string& feature, const std::string& metric,
                                     const std::string& units, std::vector<std::string> keys) {
    const auto [rate, factor] = rateOf(metric, units);
    return {.section = {0, feature, metric, ""},
            .quantity = {kindOf(units), metric, units},
            .rate = rate,
            .rateFactor = factor,
            .keys = std::move(keys)};
}

}  // namespace host::record
