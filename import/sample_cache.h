// What the writer remembers of metrics, entities and states, so that a sample in steady state builds no text,
// searches no ordered map and formats nothing. All of it can be worked out anew at any time.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "import/attribute_list.h"
#include "import/key_cache.h"
#include "plugins/sample_places.h"
#include "pwr/metric.h"

namespace vyrta {

// The attributes that a handle contributes, once all ids in them are defined.
struct KnownAttributes {
    bool known = false;
    std::vector<SampleAttribute> attributes;
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
    KnownAttributes whole;  // of an element with this state, but for its value; its duration is replaced
};

// What is remembered of an element.
struct KnownElement {
    EntityCache* entity = nullptr;
    StateCache* state = nullptr;  // null without a descriptor
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
    KeyCache<StateCache> states;
    PlaceList<KnownElement> places;
};

// The metrics of a run.
class MetricCaches {
public:
    // `names` are the metrics' names by id, the caller's.
    explicit MetricCaches(std::map<std::uint64_t, std::string>& names) : m_names(names) {}

    // What is remembered of a metric: nothing if it is new, or no longer what it was.
    MetricCache& find(const pwr::Metric& metric);

private:
    std::map<std::uint64_t, std::string>& m_names;
    KeyCache<MetricCache> m_caches;  // by metric
};

}  // namespace vyrta
