// Titles of tables and columns, from what the host says about metrics, entities and descriptors.
#pragma once

#include <cstdint>
#include <string>

#include "pwr/metric.h"

namespace overtime {

// " (", the units, ")"; empty without a quantity.
std::string unitsSuffix(const pwr::Quantity* quantity);

// A descriptor's name and, in parentheses, the first of its attribute values.
std::string descriptorTitle(const pwr::DataDescriptor& descriptor);

// The qualified name, or an empty text for a null handle.
std::string qualifiedNameOf(const pwr::DataHandle* handle);

// A metric's name and, after " - ", the qualified name of an entity that has a name.
std::string entityTitle(const pwr::Metric& metric, const pwr::EntityHandle& entity);

// The id of a handle, 0 for a null one.
inline std::uint64_t idOf(const pwr::DataHandle* handle) {
    return handle == nullptr ? 0 : handle->getId();
}

// The key of two ids: `high` shifted left by 32 plus `low` if `low` is not 0, else `high` alone.
inline std::uint64_t keyOf(std::uint64_t high, std::uint64_t low) {
    return low != 0 ? (high << 32) + low : high;
}

// The key of what an element reports: its entity and, if there is one, its descriptor.
inline std::uint64_t dataKeyOf(const pwr::DataHandle* entity, const pwr::DataDescriptor* descriptor) {
    return keyOf(idOf(entity), idOf(descriptor));
}

}  // namespace overtime
