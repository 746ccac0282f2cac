#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "pwr/metric.h"

namespace overtime {

// The pairs of an entity and a descriptor that a metric declares, by entity.
class DeclaredPairs {
public:
    struct Pair {
        std::uint64_t entityId;
        const pwr::DataDescriptor* descriptor;  // may be null
    };

    // Pairs without an entity are left out.
    explicit DeclaredPairs(const pwr::Metric& metric);

    // Those of an entity, in the metric's order.
    std::span<const Pair> of(std::uint64_t entityId) const;

private:
    std::vector<Pair> m_pairs;  // by entity id
};

}  // namespace overtime
