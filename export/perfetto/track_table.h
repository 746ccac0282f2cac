// The tracks of a run, found by what they show.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "export/perfetto/trace_file.h"
#include "plugins/sample_places.h"
#include "pwr/metric.h"
#include "pwr/process.h"

namespace exporting {

// The tracks of an entity's item, made when they are first needed. The three may all be there: values of a
// metric may change their kind.
struct ItemTracks {
    Track* entity;           // of the entity as a whole
    std::string name;        // of the item, else of the metric
    Track* value = nullptr;  // counter of the number, or of the low end of a range
    Track* high = nullptr;   // counter of the high end
    Track* texts = nullptr;  // slices
};

// Group, metric and entity are nested; below an entity each item has its tracks. Processes and threads have
// tracks of their own.
class TrackTable {
public:
    // The tracks of each element of the sample, one after the other, by `at`.
    void begin(const pwr::Metric& metric);
    ItemTracks& at(std::size_t place, const pwr::DataElement& element);

    Track& value(ItemTracks& item);
    Track& high(ItemTracks& item);
    Track& texts(ItemTracks& item);

    Track& process(const pwr::Process& process);
    Track& thread(const pwr::Thread& thread);

private:
    using Places = SamplePlaces<std::uint64_t, ItemTracks*>;
    using ItemKey = std::tuple<std::uint32_t, const pwr::EntityHandle*, const pwr::DataDescriptor*>;

    Track& add_i(Track::Kind kind, Track* parent, const std::string& name);
    Track& metric_i();
    ItemTracks& item_i(const pwr::DataElement& element);

    const pwr::Metric* m_metric = nullptr;  // of the sample at hand
    Places::Place* m_places = nullptr;
    Places m_known;
    std::deque<Track> m_tracks;
    std::map<std::string, Track*> m_groups;
    std::map<std::uint32_t, Track*> m_metrics;
    std::map<std::pair<std::uint32_t, const pwr::EntityHandle*>, Track*> m_entities;
    std::map<ItemKey, ItemTracks> m_items;
    std::map<const pwr::DataHandle*, Track*> m_owners;  // processes and threads
};

}  // namespace exporting
