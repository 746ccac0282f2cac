#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "plugins/flat_map.h"
#include "pwr/metric.h"

// What was worked out for an element of a sample, to be used again while the element is for the same entity
// and descriptor. `Target` is a cheap value.
template <typename Target>
struct SamplePlace {
    const pwr::EntityHandle* entity = nullptr;
    const pwr::DataDescriptor* descriptor = nullptr;
    Target target{};

    bool isOf(const pwr::EntityHandle* anEntity, const pwr::DataDescriptor* aDescriptor) const {
        return entity == anEntity && descriptor == aDescriptor;
    }
};

// The places of a metric's samples. Samples of one metric mostly name the same entities and descriptors in
// the same order, so what was worked out for the sample before is kept by position: in a row of memory that
// is read from its start to its end, where a look-up by key would go all over it.
template <typename Target>
class PlaceList {
public:
    // The first of `count` places, which the caller keeps up to date. They hold until the next call.
    SamplePlace<Target>* first(std::size_t count) {
        if (m_places.size() < count) m_places.resize(count);
        return m_places.data();
    }

    void clear() { m_places.clear(); }

private:
    std::vector<SamplePlace<Target>> m_places;
};

// The lists of all metrics, for writers that have nothing else to find by metric.
//
// `Key` tells apart what is written of a metric, as in a FlatMap.
template <typename Key, typename Target>
class SamplePlaces {
public:
    using Place = SamplePlace<Target>;

    // The first of `count` places, as in PlaceList.
    Place* placesOf(const Key& key, std::size_t count) {
        std::uint32_t& number = m_numbers[key];
        if (number == 0) {
            m_lists.emplace_back();
            number = static_cast<std::uint32_t>(m_lists.size());
        }
        return m_lists[number - 1].first(count);
    }

private:
    FlatMap<Key, std::uint32_t> m_numbers;  // counted from 1
    std::vector<PlaceList<Target>> m_lists;
};
