#include "overtime/declared_pairs.h"

#include <algorithm>

namespace overtime {

namespace {

bool hasLowerId(const DeclaredPairs::Pair& one, const DeclaredPairs::Pair& other) {
    return one.entityId < other.entityId;
}

}  // namespace

DeclaredPairs::DeclaredPairs(const pwr::Metric& metric) {
    for (const auto& [entity, descriptor] : metric.m_attributeDescriptors)
        if (entity != nullptr) m_pairs.push_back({entity->getId(), descriptor});
    std::stable_sort(m_pairs.begin(), m_pairs.end(), hasLowerId);
}

std::span<const DeclaredPairs::Pair> DeclaredPairs::of(std::uint64_t entityId) const {
    const auto [first, last] =
        std::equal_range(m_pairs.begin(), m_pairs.end(), Pair{entityId, nullptr}, hasLowerId);
    return {first, last};
}

}  // namespace overtime
