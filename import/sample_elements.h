#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "import/entity_data_element.h"
#include "import/key_cache.h"
#include "import/sample_cache.h"
#include "pwr/metric.h"

namespace vyrta {

// Ends the chain of a group's elements.
inline constexpr std::uint32_t LAST_ELEMENT = 0xFFFFFFFF;

// An element of the current message, and the place of the next one of its entity.
struct GroupedElement {
    EntityDataElement kept;
    StateCache* state;  // null without a descriptor
    std::uint32_t next;
};

// The elements of one entity in a message, as a chain in order of arrival.
struct EntityGroup {
    const pwr::EntityHandle* entity;
    EntityCache* cache;
    std::uint32_t first;
    std::uint32_t last;
};

// The elements of a message, checked by its metric's type and grouped by entity.
class SampleElements {
public:
    // Takes the elements of a message. Sets `metricClass` to that of state values if it has any. Gives 0, or
    // 1 and a warning for an element that its metric cannot have.
    int collect(const pwr::Metric& metric, MetricCache& cache, std::uint16_t& metricClass);

    std::size_t count() const { return m_elements.size(); }

    // By first appearance of their entities.
    const std::vector<EntityGroup>& groups() const { return m_groups; }

    // The element at a place, from the `first` of a group to LAST_ELEMENT.
    const GroupedElement& at(std::uint32_t place) const { return m_elements[place]; }

    // The attribute made for a traced text of this message, or null.
    const pwr::Attribute* inventedAttribute() const { return m_inventedAttribute; }

private:
    int check_i(const pwr::Metric& metric, const pwr::DataElement& element, EntityDataElement& kept,
                std::uint16_t& metricClass);
    int takeHandle_i(const pwr::Data& value, EntityDataElement& kept);
    const pwr::DataDescriptor* inventState_i(const pwr::Metric& metric, const pwr::Data& value);
    void find_i(MetricCache& cache, const pwr::EntityHandle* entity, const pwr::DataDescriptor* descriptor,
                SamplePlace<KnownElement>& place);
    void group_i(const pwr::EntityHandle* entity, EntityCache& known, std::uint32_t place);

    std::uint64_t m_messageNumber = 0;
    std::vector<GroupedElement> m_elements;
    std::vector<EntityGroup> m_groups;
    const pwr::Attribute* m_inventedAttribute = nullptr;
    StateCache m_inventedState;                          // its state
    KeyCache<const pwr::DataDescriptor*> m_descriptors;  // by handle of type 9: what it is cast to
};

}  // namespace vyrta
