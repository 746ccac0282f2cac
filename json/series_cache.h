#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class Series;

// Remembers which series and state an element belongs to, by what it refers to, so that no name is built or
// hashed for an element like an earlier one.
class SeriesCache {
public:
    // What the state's name comes from.
    enum Source : std::uint8_t {
        SOURCE_NONE,                 // nothing: the name is empty
        SOURCE_DESCRIPTOR,           // the element's descriptor
        SOURCE_TRACED_HANDLE,        // the handle in a traced value
        SOURCE_DESCRIPTOR_IN_VALUE,  // the descriptor in a sampled value
        SOURCE_TEXT,                 // a text of the value: only the series is remembered
    };

    // Ids are unique among handles for the whole run.
    struct Key {
        std::uint64_t entityId;
        std::uint64_t sourceId;  // of the handle that the source names, else 0
        std::uint32_t metricId;
        std::uint8_t metricType;
        Source source;

        bool operator==(const Key&) const = default;
    };

    struct Slot {
        Series* series = nullptr;
        std::uint32_t stateId = 0;
    };

    SeriesCache();

    // What was remembered under the key; null if nothing was. Valid until the next insertion.
    const Slot* find(const Key& key) const;

    // Remembers `slot`, whose series is not null. REQUIRES: nothing is there under the key.
    void insert(const Key& key, const Slot& slot);

private:
    struct Entry {
        Key key;
        Slot slot;  // no series: the entry is free
    };

    std::size_t findIndex_i(const Key& key) const;
    void grow_i();

    std::vector<Entry> m_entries;  // open addressing; a power of two, at most half of it taken
    std::size_t m_count = 0;
};

inline std::size_t SeriesCache::findIndex_i(const Key& key) const {
    std::uint64_t mixed = key.entityId * 0x9E3779B97F4A7C15U;
    mixed = (mixed ^ (mixed >> 32) ^ key.sourceId) * 0xC2B2AE3D27D4EB4FU;
    mixed = (mixed ^ (mixed >> 32) ^ key.metricId) * 0x9E3779B97F4A7C15U;
    const std::size_t mask = m_entries.size() - 1;
    std::size_t index = (mixed >> 32) & mask;
    while (m_entries[index].slot.series != nullptr && !(m_entries[index].key == key))
        index = (index + 1) & mask;
    return index;
}

inline const SeriesCache::Slot* SeriesCache::find(const Key& key) const {
    const Entry& entry = m_entries[findIndex_i(key)];
    return entry.slot.series != nullptr ? &entry.slot : nullptr;
}
