// From a metric message to a sample: elements grouped by entity, each id defined, time running forward.
#include <new>

#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"
#include "plugins/memory_guard.h"
#include "plugins/prefetch.h"

using namespace vyrta;

namespace {

// Debug metrics that the visualiser has no view for.
bool isDebugMetric(const std::string& name) {
    for (const char* part :
         {"CPU PkgC Dbg", "C-State Debug", "TypeC Subsystem", "S0ix Substate Requirements"})
        if (name.find(part) != std::string::npos) return true;
    return false;
}

bool isTraced(const pwr::Metric& metric) {
    return metric.m_metricType == pwr::Metric::TRACED_VALUE_TRANSITION ||
           metric.m_metricType == pwr::Metric::TRACED_EVENT;
}

bool isWakelock(const pwr::Metric& metric) {
    return metric.m_metricType == pwr::Metric::TRACED_VALUE_TRANSITION &&
           (metric.m_tableClass == pwr::REAL_TABLE_CLASS_KERNEL_WAKELOCK ||
            metric.m_tableClass == pwr::REAL_TABLE_CLASS_USER_WAKELOCK);
}

}  // namespace

MetricCache& VyrtaWriter::findMetric_i(const pwr::Metric& metric) {
    MetricCache& cache = m_metricCache[&metric];
    const bool isCurrent = cache.isFilled && cache.id == metric.m_id && cache.type == metric.m_metricType &&
                           cache.name == metric.m_name;
    if (isCurrent) return cache;
    cache.entities.clear();
    cache.expected.clear();
    cache.states.clear();
    cache.isFilled = false;  // until all of it is known
    cache.id = metric.m_id;
    cache.name = metric.m_name;
    cache.storedName = &m_metricNames[metric.m_id];
    cache.type = metric.m_metricType;
    cache.isRefused = isDebugMetric(metric.m_name);
    cache.isDefined = false;
    cache.isFilled = true;
    return cache;
}

std::int32_t VyrtaWriter::writeMessage(const pwr::Metric& metric) {
    const auto convert = [&] {
        m_isTextTooLong = false;
        const MetricCache& cache = findMetric_i(metric);
        if (*cache.storedName != metric.m_name) *cache.storedName = metric.m_name;
        return cache.isRefused ? 1 : handleMetricMessage(metric);
    };
    if (guardMemory(VYRTA_OPTION_NAME, 1, convert) == 0) return 0;
    reportReason_i(metric);
    // Without memory the sample is lost, so that the metric is void like after any other failure.
    const auto markVoid = [&] {
        setInvalidTempFile(metric.m_id);
        return true;
    };
    if (!guardMemory(VYRTA_OPTION_NAME, false, markVoid)) m_impl->m_valid = false;
    return 1;
}

// Tells why a metric is about to become void, where its user can do something about it.
void VyrtaWriter::reportReason_i(const pwr::Metric& metric) const {
    const VyrtaBackingStoreManager* const manager = m_impl->findBackingStore(metric.m_id);
    const bool isVoid = !m_impl->m_valid || (manager != nullptr && !manager->m_valid);
    if (m_isTextTooLong && !isVoid)
        LOG_ERROR("%s leaves out the metric \"%s\": it needs a text that is too long for the format\n",
                  m_impl->m_fileName.c_str(), metric.m_name.c_str());
}

int VyrtaWriter::handleMetricMessage(const pwr::Metric& metric) {
    m_isVerbose = isLogged(LogLevel::Debug);
    if (isWakelock(metric)) return handleWakelockSampleNonGeneric(&metric);

    MetricCache& cache = findMetric_i(metric);
    unsigned short metricClass = METRIC_CLASS_UNKNOWN;
    if (collectElements_i(metric, cache, metricClass) != 0) return 1;
    if (!cache.isDefined || m_isVerbose) {
        if (handleMetricMetadata(&metric, &metricClass) != 0)
            return VYRTA_FAIL("Failed to process '%s' metric metadata.\n", metric.m_name.c_str());
        cache.isDefined = true;
    }
    if (isTraced(metric) && m_elements.size() != 1)
        return VYRTA_FAIL(
            "Traced metric data should have information for only one entity and only one descriptor. Metric: "
            "'%s'\n",
            metric.m_name.c_str());

    const std::uint64_t tsc = metric.getData().timestamp;
    if (m_list == nullptr) m_list = std::make_unique<ZT2AttributeList>();
    m_list->count = 0;
    if (addAttributeToRecord(ATTRIBUTE_KIND_METRIC, metric.m_id, m_list.get()) != 0) return 1;
    for (const EntityGroup& group : m_groups) {
        if (addEntity_i(metric, group, tsc) != 0) return 1;
        for (std::uint32_t at = group.first; at != LAST_ELEMENT; at = m_elements[at].next) {
            const EntityDataElement& element = m_elements[at].kept;
            if (addElement_i(metric, cache, element, tsc, *group.cache->previousTsc) != 0) return 1;
        }
    }
    if (writeZT2Record(tsc, metric.m_id, m_list.get()) != 0)
        return VYRTA_FAIL("Unable to write a '%s:%d' record. TSC: %lu\n", metric.m_name.c_str(),
                          static_cast<int>(metric.m_id), tsc);
    return 0;
}

int VyrtaWriter::collectElements_i(const pwr::Metric& metric, MetricCache& cache,
                                   unsigned short& metricClass) {
    const std::vector<const pwr::DataElement*>& elements = metric.getData().elements;
    ++m_messageNumber;
    m_elements.resize(elements.size());
    m_groups.clear();
    m_inventedAttribute = nullptr;
    for (std::uint32_t i = 0; i < elements.size(); ++i) {
        prefetchAfter(elements, i);
        const pwr::DataElement& element = *elements[i];
        EntityDataElement& kept = m_elements[i].kept;
        kept = {element.getDescriptor(), element.getValue(), element.getDuration(),
                element.getAdditionalInfo()};
        if (checkElement_i(metric, element, kept, metricClass) != 0) return 1;
        group_i(cache, element.getEntity(), i);
    }
    return 0;
}

// Checks an element by the metric's type and replaces its descriptor and value where the type says so.
int VyrtaWriter::checkElement_i(const pwr::Metric& metric, const pwr::DataElement& element,
                                EntityDataElement& kept, unsigned short& metricClass) {
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
            if (value.m_type == pwr::DATA_STRING) kept.descriptor = createDescriptor_i(metric, value);
            if (value.m_type == pwr::DATA_HANDLE && takeHandle_i(value, kept) != 0)
                return VYRTA_FAIL("Malformed Traced metric. Metric: '%s'\n", metric.m_name.c_str());
            return 0;
        default:
            return 0;
    }
}

// Makes the descriptor that a value refers to the element's, in place of the value.
int VyrtaWriter::takeHandle_i(const pwr::Data& value, EntityDataElement& kept) {
    const pwr::DataHandle* handle = nullptr;
    if (value.toHandle(handle) != 0 || handle == nullptr) return 1;
    if (handle->getHandleType() != pwr::HANDLE_DATA_DESCRIPTOR) return 1;
    const pwr::DataDescriptor*& descriptor = m_descriptorCache[handle];
    if (descriptor == nullptr) descriptor = dynamic_cast<const pwr::DataDescriptor*>(handle);
    kept.descriptor = descriptor;
    kept.value = nullptr;
    return 0;
}

// Makes a state of a traced string.
const pwr::DataDescriptor* VyrtaWriter::createDescriptor_i(const pwr::Metric& metric,
                                                           const pwr::Data& value) {
    value.toString(m_text);
    m_inventedAttribute = pwr::Attribute::create("value", metric.m_quantity, pwr::ATTRIBUTE_NAME_VALUE);
    pwr::DataDescriptorBuilder builder(m_text, "");
    builder.m_attributes.addAttributeValue(m_inventedAttribute, value);
    return pwr::DataDescriptor::create(builder);
}

// Appends the element at `place` to those of its entity, in order of the entities' first appearance.
void VyrtaWriter::group_i(MetricCache& cache, const pwr::EntityHandle* entity, std::uint32_t place) {
    m_elements[place].next = LAST_ELEMENT;
    if (!m_groups.empty() && m_groups.back().entity == entity) {
        // The states of one entity mostly come together.
        EntityGroup& group = m_groups.back();
        m_elements[group.last].next = place;
        group.last = place;
        return;
    }
    EntityCache& known = cache.entityAt(m_groups.size(), entity);
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

unsigned long VyrtaWriter::getPreviousTsc(const std::string& key) {
    return m_previousTsc.try_emplace(key, startTsc_i()).first->second;
}

std::uint64_t VyrtaWriter::startTsc_i() const {
    return m_info != nullptr ? m_info->startTsc : 0;
}

int VyrtaWriter::checkTscMonotonicity(unsigned long tsc, const std::string& key) {
    const std::uint64_t start = startTsc_i();
    std::uint64_t& previous = m_previousTsc.try_emplace(key, start).first->second;
    if (tsc < start) {
        VYRTA_FATAL(
            "Current sample TSC is <= collection start TSC. Samples are required to be monotonically "
            "increasing in time. '%s' current TSC: %lu <= collection start TSC: %lu\n",
            key.c_str(), tsc, start);
        return 1;
    }
    if (tsc > previous || (tsc == previous && previous == start)) {
        previous = tsc;
        return 0;
    }
    VYRTA_FATAL(
        "Current sample TSC is <= previous sample's TSC. Samples are required to be monotonically increasing "
        "in time. '%s' current TSC: %lu <= previous TSC: %lu\n",
        key.c_str(), tsc, previous);
    return 1;
}

// The same for an entity whose fast check has failed: it has no entry yet, or the time is not to be had.
int VyrtaWriter::checkEntityTsc_i(EntityCache& entity, std::uint64_t tsc, const std::string& key) {
    const int failed = checkTscMonotonicity(tsc, key);
    entity.previousTsc = &m_previousTsc.find(key)->second;
    return failed;
}

int VyrtaWriter::addEntity_i(const pwr::Metric& metric, const EntityGroup& group, unsigned long tsc) {
    const pwr::EntityHandle* const entity = group.entity;
    EntityCache& known = *group.cache;
    const auto buildKey = [&] {
        return getNameIdKey(metric.m_name, metric.m_id) + "_" +
               getNameIdKey(entity->getName(), entity->getId());
    };
    if (!known.advance(tsc) && checkEntityTsc_i(known, tsc, buildKey()) != 0)
        return VYRTA_FAIL("Invalid TSC value for '%s' sample. TSC: %lu\n", entity->getName().c_str(), tsc);
    if (!known.isDefined || m_isVerbose) {
        if (writeEntityMetadataTopology(entity) != 0)
            return VYRTA_FAIL("Unable to write '%s' entity metadata topology. TSC: %lu\n",
                              entity->getName().c_str(), tsc);
        known.isDefined = true;
    }
    if (add_i(ATTRIBUTE_KIND_ENTITY, entity->getId(), m_list.get()) != 0)
        return VYRTA_FAIL("Unable to add '%s' entity to the record. TSC: %lu\n", entity->getName().c_str(),
                          tsc);
    if (addKnownInfos_i(entity, known.infos) != 0)
        return VYRTA_FAIL("Unable to add '%s' entity attributes to the record. TSC: %lu\n",
                          entity->getName().c_str(), tsc);
    return 0;
}

int VyrtaWriter::addElement_i(const pwr::Metric& metric, MetricCache& cache, const EntityDataElement& element,
                              unsigned long tsc, unsigned long previousTsc) {
    if (element.descriptor == nullptr)
        return VYRTA_FAIL("Malformed data element for metric %s. TSC: %lu", metric.m_name.c_str(), tsc);
    // An invented descriptor occurs once, so that nothing is to be remembered of it.
    const bool isInvented = m_inventedAttribute != nullptr;
    if (isInvented) m_inventedState = StateCache();
    StateCache& state = isInvented ? m_inventedState : cache.states[element.descriptor];
    if ((!state.isDefined || m_isVerbose) && defineState_i(element, state, tsc) != 0) return 1;

    const std::uint64_t duration = element.duration != 0 ? element.duration : tsc - previousTsc;
    if (addState_i(state, duration, tsc) != 0) return 1;
    const bool allAsString = metric.m_metricType != pwr::Metric::TRACED_VALUE_TRANSITION;
    if (addAttributes_i(element, state, allAsString, tsc) != 0) return 1;
    if (processData(element.value, nullptr, m_list.get(), false, nullptr) != 0)
        return VYRTA_FAIL("Unable to add '%s' data to the record. TSC: %lu\n", state.name.c_str(), tsc);
    return 0;
}

// Names an element's state, and defines it and its colour.
int VyrtaWriter::defineState_i(const EntityDataElement& element, StateCache& state, unsigned long tsc) {
    const pwr::DataDescriptor& descriptor = *element.descriptor;
    std::string text;
    if (getFirstDataAttributeAsString(&descriptor, &text) != 0)
        return VYRTA_FAIL("Failed to get first attribute as string. TSC: %lu\n", tsc);
    state.name = descriptor.getName().empty() ? "NA" : descriptor.getName();
    if (!text.empty()) state.name += " " + text;

    unsigned long id = descriptor.getId();
    if (writeStateMetadata(state.name, state.name, id) != 0)
        return VYRTA_FAIL("Unable to write '%s' data field metadata. TSC: %lu\n", state.name.c_str(), tsc);
    if (writeStateColorMetadata(state.name) != 0 || m_stateColors.count(state.name) == 0)
        return VYRTA_FAIL("Unable to write '%s' data field color metadata. TSC: %lu\n", state.name.c_str(),
                          tsc);
    state.id = id;
    state.colorId = m_stateColors[state.name];
    state.isDefined = m_states.count(state.name) != 0;
    return 0;
}

int VyrtaWriter::addState_i(const StateCache& state, unsigned long duration, unsigned long tsc) {
    ZT2AttributeList* const list = m_list.get();
    const std::uint32_t at = list->count;
    if (!m_isVerbose && at + 3 <= MAXIMUM_ATTRIBUTE_COUNT) {
        list->types[at] = ATTRIBUTE_KIND_FIELD;
        list->values[at] = state.id;
        list->types[at + 1] = ATTRIBUTE_KIND_DURATION;
        list->values[at + 1] = duration;
        list->types[at + 2] = ATTRIBUTE_KIND_COLOR;
        list->values[at + 2] = state.colorId;
        list->count = at + 3;
        return 0;
    }
    if (add_i(ATTRIBUTE_KIND_FIELD, state.id, list) != 0)
        return VYRTA_FAIL("Unable to add '%s' field to the record. TSC: %lu\n", state.name.c_str(), tsc);
    if (add_i(ATTRIBUTE_KIND_DURATION, duration, list) != 0)
        return VYRTA_FAIL("Unable to add '%s' duration to the record. TSC: %lu\n", state.name.c_str(), tsc);
    if (add_i(ATTRIBUTE_KIND_COLOR, state.colorId, list) != 0)
        return VYRTA_FAIL("Unable to add '%s' state color to the record. TSC: %lu\n", state.name.c_str(),
                          tsc);
    return 0;
}

int VyrtaWriter::addAttributes_i(const EntityDataElement& element, StateCache& state, bool allAsString,
                                 unsigned long tsc) {
    const char* const name = state.name.c_str();
    if (addKnownInfos_i(element.descriptor, state.infos) != 0)
        return VYRTA_FAIL("Unable to add '%s' data static field info attributes to the record. TSC: %lu\n",
                          name, tsc);
    const pwr::DynamicAttributeValueManager* const dynamic = element.additionalInfo;
    if (dynamic != nullptr && processInfoAttributes(dynamic, m_list.get()) != 0)
        return VYRTA_FAIL("Unable to add '%s' field dynamic info attributes to the record. TSC: %lu\n", name,
                          tsc);
    if (addKnownData_i(element.descriptor, state.data, allAsString) != 0)
        return VYRTA_FAIL("Unable to add '%s' field static data attributes to the record. TSC: %lu\n", name,
                          tsc);
    if (dynamic != nullptr && processDataAttributes(dynamic, m_list.get(), allAsString) != 0)
        return VYRTA_FAIL("Unable to add '%s' field dynamic data attributes to the record. TSC: %lu\n", name,
                          tsc);
    return 0;
}

// The static walks give the same attributes each time, so the first success is remembered. What does not fit
// is walked through again, as each step of the walk tells of it.
int VyrtaWriter::addKnownInfos_i(const pwr::AttributeValueManager* manager, KnownAttributes& known) {
    if (canRepeat_i(known)) return addRun_i(known.attributes, m_list.get());
    const std::uint32_t first = m_list->count;
    if (processInfoAttributes(manager, m_list.get()) != 0) return 1;
    remember_i(known, first);
    return 0;
}

int VyrtaWriter::addKnownData_i(const pwr::AttributeValueManager* manager, KnownAttributes& known,
                                bool allAsString) {
    if (canRepeat_i(known)) return addRun_i(known.attributes, m_list.get());
    const std::uint32_t first = m_list->count;
    if (processDataAttributes(manager, m_list.get(), allAsString) != 0) return 1;
    // A quantity without a rate is reported each time that it is used as a number.
    if (allAsString || !isLogged(LogLevel::Warning)) remember_i(known, first);
    return 0;
}

bool VyrtaWriter::canRepeat_i(const KnownAttributes& known) const {
    return known.known && !m_isVerbose && m_list->count + known.attributes.size() <= MAXIMUM_ATTRIBUTE_COUNT;
}

void VyrtaWriter::remember_i(KnownAttributes& known, std::uint32_t first) const {
    known.attributes.clear();
    for (std::uint32_t i = first; i < m_list->count; ++i)
        known.attributes.emplace_back(m_list->types[i], m_list->values[i]);
    known.known = true;
}
