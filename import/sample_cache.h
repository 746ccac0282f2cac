// What the writer remembers of metrics, entities and states, so that a sample in steady state builds no text,
// searches no ordered map and formats nothing. All of it can be worked out anew at any time.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "import/entity_data_element.h"
#include "import/key_cache.h"
#include "pwr/metric.h"

// A run of attributes that a sample repeats each time: type and value.
using AttributeRun = std::vector<std::pair<std::uint32_t, std::uint64_t>>;

// The attributes that a handle contributes, once all ids in them are defined.
struct KnownAttributes {
    bool known = false;
    AttributeRun attributes;
};

// An entity within one metric.
struct EntityCache {
    std::uint64_t* previousTsc = nullptr;  // its entry in VyrtaWriter::m_previousTsc; null before its first
    bool isDefined = false;                // its metadata and that of its parents are written
    KnownAttributes infos;
    std::uint64_t message = 0;  // number of the last message that held it
    std::uint32_t group = 0;    // its place among that message's groups

    // Takes `tsc` as the latest time if there is an earlier one; otherwise changes nothing and returns false.
    bool advance(std::uint64_t tsc) {
        if (previousTsc == nullptr || tsc <= *previousTsc) return false;
        *previousTsc = tsc;
        return true;
    }
};

// A descriptor within one metric.
struct StateCache {
    bool isDefined = false;  // state and colour are written
    std::string name;
    std::uint64_t id = 0;
    std::uint64_t colorId = 0;
    KnownAttributes infos;
    KnownAttributes data;
};

// An entity that a metric's samples name at a certain place among their entities.
struct ExpectedEntity {
    const pwr::EntityHandle* entity;
    EntityCache* cache;
};

// A metric. Valid while the host's object says the same as when it was filled.
struct MetricCache {
    bool isFilled = false;
    std::uint32_t id = 0;
    std::string name;
    std::string* storedName = nullptr;  // its entry in VyrtaWriter::m_metricNames
    pwr::Metric::MetricType type = pwr::Metric::SAMPLED_DELTA;
    bool isRefused = false;  // a debug metric
    bool isDefined = false;  // its metadata is written
    KeyCache<EntityCache> entities;
    std::vector<ExpectedEntity> expected;  // those of the samples so far, in order
    KeyCache<StateCache> states;

    // What is remembered of the entity that is the one at `place` in a sample.
    EntityCache& entityAt(std::size_t place, const pwr::EntityHandle* entity) {
        if (place < expected.size() && expected[place].entity == entity) return *expected[place].cache;
        EntityCache& known = entities[entity];
        if (place >= expected.size()) expected.resize(place + 1);
        expected[place] = {entity, &known};
        return known;
    }
};

// Ends the chain of a group's elements.
inline constexpr std::uint32_t LAST_ELEMENT = 0xFFFFFFFF;

// An element of the current message, and the place of the next one of its entity.
struct GroupedElement {
    EntityDataElement kept;
    std::uint32_t next;
};

// The elements of one entity in a message, as a chain in order of arrival.
struct EntityGroup {
    const pwr::EntityHandle* entity;
    EntityCache* cache;
    std::uint32_t first;
    std::uint32_t last;
};
