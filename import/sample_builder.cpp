#include "import/sample_builder.h"

#include "import/vyrta_log.h"

namespace vyrta {

namespace {

// Where the duration stands among the attributes of an element.
constexpr std::uint32_t DURATION_AT = 1;

}  // namespace

const ZT2AttributeList* SampleBuilder::build(const pwr::Metric& metric, const SampleElements& elements) {
    const std::uint64_t tsc = metric.getData().timestamp;
    if (m_list == nullptr) m_list = std::make_unique<ZT2AttributeList>();
    m_list->count = 0;
    m_inventedAttribute = elements.inventedAttribute();
    if (appendAttribute(ATTRIBUTE_KIND_METRIC, metric.m_id, m_list.get()) != 0) return nullptr;
    for (const EntityGroup& group : elements.groups()) {
        if (addEntity_i(metric, group, tsc) != 0) return nullptr;
        for (std::uint32_t at = group.first; at != LAST_ELEMENT; at = elements.at(at).next) {
            if (addElement_i(metric, elements.at(at), tsc, *group.cache->previousTsc) != 0) return nullptr;
        }
    }
    return m_list.get();
}

int SampleBuilder::addEntity_i(const pwr::Metric& metric, const EntityGroup& group, std::uint64_t tsc) {
    const pwr::EntityHandle& entity = *group.entity;
    EntityCache& known = *group.cache;
    // It has no latest time yet, or the time is not to be had.
    if (!known.advance(tsc) && m_definitions.advance(metric, entity, tsc, known.previousTsc) != 0)
        return VYRTA_FAIL("Invalid TSC value for '%s' sample. TSC: %lu\n", entity.getName().c_str(), tsc);
    if (!m_shortcuts.allow(known.isDefined)) {
        if (m_definitions.defineEntity(entity) != 0)
            return VYRTA_FAIL("Unable to write '%s' entity metadata topology. TSC: %lu\n",
                              entity.getName().c_str(), tsc);
        known.isDefined = true;
    }
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_ENTITY, entity.getId(), m_list.get()) != 0)
        return VYRTA_FAIL("Unable to add '%s' entity to the record. TSC: %lu\n", entity.getName().c_str(),
                          tsc);
    if (addInfos_i(&entity, known.infos) != 0)
        return VYRTA_FAIL("Unable to add '%s' entity attributes to the record. TSC: %lu\n",
                          entity.getName().c_str(), tsc);
    return 0;
}

int SampleBuilder::addElement_i(const pwr::Metric& metric, const GroupedElement& grouped, std::uint64_t tsc,
                                std::uint64_t previousTsc) {
    const EntityDataElement& element = grouped.kept;
    if (element.descriptor == nullptr)
        return VYRTA_FAIL("Malformed data element for metric %s. TSC: %lu", metric.m_name.c_str(), tsc);
    StateCache& state = *grouped.state;
    const std::uint64_t duration = element.duration != 0 ? element.duration : tsc - previousTsc;
    const std::uint32_t first = m_list->count;
    if (element.additionalInfo == nullptr && repeat_i(state.whole)) {
        m_list->values[first + DURATION_AT] = duration;
    } else {
        const bool allAsString = metric.m_metricType != pwr::Metric::TRACED_VALUE_TRANSITION;
        if (addNewState_i(element, state, duration, allAsString, tsc) != 0) return 1;
    }
    if (m_values.add(element.value, *m_list) != 0)
        return VYRTA_FAIL("Unable to add '%s' data to the record. TSC: %lu\n", state.name.c_str(), tsc);
    return 0;
}

// Adds all of an element but its value, and remembers it if it is the same each time.
int SampleBuilder::addNewState_i(const EntityDataElement& element, StateCache& state, std::uint64_t duration,
                                 bool allAsString, std::uint64_t tsc) {
    if (!m_shortcuts.allow(state.isDefined) && defineState_i(*element.descriptor, state, tsc) != 0) return 1;
    const std::uint32_t first = m_list->count;
    if (addState_i(state, duration, tsc) != 0) return 1;
    if (addAttributes_i(element, state, allAsString, tsc) != 0) return 1;
    if (element.additionalInfo == nullptr && state.isDefined && state.infos.known && state.data.known)
        remember_i(state.whole, first);
    return 0;
}

// Names a descriptor's state, and defines it and its colour.
int SampleBuilder::defineState_i(const pwr::DataDescriptor& descriptor, StateCache& state,
                                 std::uint64_t tsc) {
    std::string text;
    if (m_attributes.readFirstText(&descriptor, &text) != 0)
        return VYRTA_FAIL("Failed to get first attribute as string. TSC: %lu\n", tsc);
    state.name = descriptor.getName().empty() ? "NA" : descriptor.getName();
    if (!text.empty()) state.name += " " + text;

    std::uint64_t id = descriptor.getId();
    bool isWritten = false;
    if (m_definitions.defineState(state.name, id, isWritten) != 0)
        return VYRTA_FAIL("Unable to write '%s' data field metadata. TSC: %lu\n", state.name.c_str(), tsc);
    if (m_definitions.defineColor(state.name, state.colorId) != 0)
        return VYRTA_FAIL("Unable to write '%s' data field color metadata. TSC: %lu\n", state.name.c_str(),
                          tsc);
    state.id = id;
    state.isDefined = isWritten;
    return 0;
}

int SampleBuilder::addState_i(const StateCache& state, std::uint64_t duration, std::uint64_t tsc) {
    ZT2AttributeList* const list = m_list.get();
    const char* const name = state.name.c_str();
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_FIELD, state.id, list) != 0)
        return VYRTA_FAIL("Unable to add '%s' field to the record. TSC: %lu\n", name, tsc);
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_DURATION, duration, list) != 0)
        return VYRTA_FAIL("Unable to add '%s' duration to the record. TSC: %lu\n", name, tsc);
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_COLOR, state.colorId, list) != 0)
        return VYRTA_FAIL("Unable to add '%s' state color to the record. TSC: %lu\n", name, tsc);
    return 0;
}

int SampleBuilder::addAttributes_i(const EntityDataElement& element, StateCache& state, bool allAsString,
                                   std::uint64_t tsc) {
    const char* const name = state.name.c_str();
    if (addInfos_i(element.descriptor, state.infos) != 0)
        return VYRTA_FAIL("Unable to add '%s' data static field info attributes to the record. TSC: %lu\n",
                          name, tsc);
    const pwr::DynamicAttributeValueManager* const dynamic = element.additionalInfo;
    if (dynamic != nullptr && m_attributes.addInfos(dynamic, m_list.get()) != 0)
        return VYRTA_FAIL("Unable to add '%s' field dynamic info attributes to the record. TSC: %lu\n", name,
                          tsc);
    if (addData_i(element.descriptor, state.data, allAsString) != 0)
        return VYRTA_FAIL("Unable to add '%s' field static data attributes to the record. TSC: %lu\n", name,
                          tsc);
    if (dynamic != nullptr && m_attributes.addData(dynamic, m_list.get(), allAsString) != 0)
        return VYRTA_FAIL("Unable to add '%s' field dynamic data attributes to the record. TSC: %lu\n", name,
                          tsc);
    return 0;
}

// The static walks give the same attributes each time, so the first success is remembered. What does not fit
// is walked through again, as each step of the walk reports it.
int SampleBuilder::addInfos_i(const pwr::AttributeValueManager* manager, KnownAttributes& known) {
    if (repeat_i(known)) return 0;
    const std::uint32_t first = m_list->count;
    if (m_attributes.addInfos(manager, m_inventedAttribute, m_list.get()) != 0) return 1;
    remember_i(known, first);
    return 0;
}

int SampleBuilder::addData_i(const pwr::AttributeValueManager* manager, KnownAttributes& known,
                             bool allAsString) {
    if (repeat_i(known)) return 0;
    const std::uint32_t first = m_list->count;
    if (m_attributes.addData(manager, m_list.get(), allAsString) != 0) return 1;
    // A quantity without a rate is reported each time that it is used as a number.
    if (allAsString || !isLogged(LogLevel::Warning)) remember_i(known, first);
    return 0;
}

bool SampleBuilder::repeat_i(const KnownAttributes& known) {
    if (!m_shortcuts.allow(known.known && hasRoomFor(known.attributes.size(), m_list.get()))) return false;
    putAttributes(known.attributes, *m_list);
    return true;
}

void SampleBuilder::remember_i(KnownAttributes& known, std::uint32_t first) const {
    known.attributes.clear();
    for (std::uint32_t i = first; i < m_list->count; ++i)
        known.attributes.emplace_back(m_list->types[i], m_list->values[i]);
    known.known = true;
}

}  // namespace vyrta
