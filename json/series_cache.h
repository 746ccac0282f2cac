// What an element's series and state are remembered by, so that no name is built or hashed for an element
// like an earlier one.
#pragma once

#include <cstdint>

#include "plugins/flat_map.h"
#include "plugins/sample_places.h"

class Series;

// What the state's name comes from.
enum StateSource : std::uint8_t {
    SOURCE_NONE,                 // nothing: the name is empty
    SOURCE_DESCRIPTOR,           // the element's descriptor
    SOURCE_TRACED_HANDLE,        // the handle in a traced value
    SOURCE_DESCRIPTOR_IN_VALUE,  // the descriptor in a sampled value
    SOURCE_TEXT,                 // a text of the value: only the series is remembered
};

// Ids are unique among handles for the whole run.
struct SeriesCacheKey {
    std::uint64_t entityId;
    std::uint64_t sourceId;  // of the handle that the source names, else 0
    std::uint32_t metricId;
    std::uint8_t metricType;
    StateSource source;

    bool operator==(const SeriesCacheKey&) const = default;
};

inline std::uint64_t hashOf(const SeriesCacheKey& key) {
    std::uint64_t mixed = key.entityId * 0x9E3779B97F4A7C15U;
    mixed = (mixed ^ (mixed >> 32) ^ key.sourceId) * 0xC2B2AE3D27D4EB4FU;
    return (mixed ^ (mixed >> 32) ^ key.metricId) * 0x9E3779B97F4A7C15U;
}

struct SeriesSlot {
    Series* series = nullptr;
    std::uint32_t stateId = 0;
};

using SeriesCache = FlatMap<SeriesCacheKey, SeriesSlot>;
using SeriesPlaces = SamplePlaces<std::uint64_t, SeriesSlot>;  // by metric id and type
