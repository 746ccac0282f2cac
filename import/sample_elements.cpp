#include "import/sample_elements.h"

#include "import/vyrta_log.h"
#include "plugins/prefetch.h"
#include "pwr/bin/pwr_records.h"

namespace vyrta {

int SampleElements::collect(const pwr::Metric& metric, MetricCache& cache, std::uint16_t& metricClass) {
    const std::vector<const pwr::DataElement*>& elements = metric.getData().elements;
    ++m_messageNumber;
    m_elements.resize(elements.size());
    m_groups.clear();
    m_inventedAttribute = nullptr;
    SamplePlace<KnownElement>* const places = cache.places.first(elements.size());
    for (std::uint32_t i = 0; i < elements.size(); ++i) {
        prefetchAfter(elements, i);
        const pwr::DataElement& element = *elements[i];
        EntityDataElement& kept = m_elements[i].kept;
        kept = {element.getDescriptor(), element.getValue(), element.getDuration(),
                element.getAdditionalInfo()};
        if (check_i(metric, element, kept, metricClass) != 0) return 1;
        const pwr::EntityHandle* const entity = element.getEntity();
        SamplePlace<KnownElement>& place = places[i];
        if (!place.isOf(entity, kept.descriptor)) find_i(cache, entity, kept.descriptor, place);
        m_elements[i].state = place.target.state;
        group_i(entity, *place.target.entity, i);
    }
    return 0;
}

// Checks an element by the metric's type and replaces its descriptor and value where the type says so.
int SampleElements::check_i(const pwr::Metric& metric, const pwr::DataElement& element,
                            EntityDataElement& kept, std::uint16_t& metricClass) {
    const pwr::Data& value = *kept.value;
    switch (metric.m_metricType) {
        case pwr::Metric::SAMPLED_VALUE:
            if (value.m_type == pwr::DATA_HANDLE && takeHandle_i(value, kept) != 0)
                return VYRTA_FAIL("Malformed Sampled Value metric. Metric: '%s'\n", metric.m_name.c_str());
            if (value.m_type == pwr::DATA_STRING || value.m_type == pwr::DATA_HANDLE)
                metricClass = METRIC_CLASS_SAMPLED_FINITE_SET_VALUE;
            if (kept.descriptor == nullptr) kept.descriptor = element.getVyrtaDescriptor();
            return 0;
        case pwr::Metric::SAMPLED_RESIDENCY:
            if (value.m_type == pwr::DATA_UINT) return 0;
            return VYRTA_FAIL("Wrong data type used for residency metric. Metric: '%s'\n",
                              metric.m_name.c_str());
        case pwr::Metric::TRACED_VALUE_TRANSITION:
        case pwr::Metric::TRACED_EVENT:
            if (value.m_type == pwr::DATA_STRING) kept.descriptor = inventState_i(metric, value);
            if (value.m_type == pwr::DATA_HANDLE && takeHandle_i(value, kept) != 0)
                return VYRTA_FAIL("Malformed Traced metric. Metric: '%s'\n", metric.m_name.c_str());
            return 0;
        default:
            return 0;
    }
}

// Makes the descriptor that a value refers to the element's, in place of the value.
int SampleElements::takeHandle_i(const pwr::Data& value, EntityDataElement& kept) {
    const pwr::DataHandle* handle = nullptr;
    if (value.toHandle(handle) != 0 || handle == nullptr) return 1;
    if (handle->getHandleType() != pwr::HANDLE_DATA_DESCRIPTOR) return 1;
    const pwr::DataDescriptor*& descriptor = m_descriptors[handle];
    if (descriptor == nullptr) descriptor = dynamic_cast<const pwr::DataDescriptor*>(handle);
    kept.descriptor = descriptor;
    kept.value = nullptr;
    return 0;
}

// Makes a state of a traced string.
const pwr::DataDescriptor* SampleElements::inventState_i(const pwr::Metric& metric, const pwr::Data& value) {
    std::string text;
    value.toString(text);
    m_inventedAttribute = pwr::Attribute::create("value", metric.m_quantity, pwr::ATTRIBUTE_NAME_VALUE);
    pwr::DataDescriptorBuilder builder(text, "");
    builder.m_attributes.addAttributeValue(m_inventedAttribute, value);
    return pwr::DataDescriptor::create(builder);
}

// Finds what is remembered of an entity and a descriptor that were not at this place of the sample before.
void SampleElements::find_i(MetricCache& cache, const pwr::EntityHandle* entity,
                            const pwr::DataDescriptor* descriptor, SamplePlace<KnownElement>& place) {
    EntityCache* const known = place.entity == entity ? place.target.entity : &cache.entities[entity];
    StateCache* state = nullptr;
    if (m_inventedAttribute != nullptr) {
        // An invented descriptor occurs once, so that nothing is to be remembered of it.
        m_inventedState = StateCache();
        state = &m_inventedState;
    } else if (descriptor != nullptr) {
        state = &cache.states[descriptor];
    }
    place = {entity, descriptor, {known, state}};
}

// Appends the element at `place` to those of its entity, in order of the entities' first appearance.
void SampleElements::group_i(const pwr::EntityHandle* entity, EntityCache& known, std::uint32_t place) {
    m_elements[place].next = LAST_ELEMENT;
    if (known.message == m_messageNumber) {
        EntityGroup& group = m_groups[known.group];
        m_elements[group.last].next = place;
        group.last = place;
        return;
    }
    prefetch(known.previousTsc, sizeof *known.previousTsc);
    known.message = m_messageNumber;
    known.group = static_cast<std::uint32_t>(m_groups.size());
    m_groups.push_back({entity, &known, place, place});
}

}  // namespace vyrta
