// From metric messages to series.
#include "continuous/cont_writer.h"
#include "json/hash.h"
#include "json/json_plugin.h"
#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/numbers.h"
#include "plugins/value_text.h"

namespace {

using Slot = SeriesSlot;

std::vector<JsonUnit> unitsOf(const pwr::Quantity* quantity) {
    std::vector<JsonUnit> units;
    if (quantity == nullptr) return units;
    units.emplace_back(quantity->toQuantityString(), quantity->toUnitsString(), 1.0,
                       quantity->toQuantity() == pwr::QUANTITY_INSTANTANEOUS);
    const pwr::Quantity* rateQuantity = nullptr;
    double conversion = 0.0;
    if (quantity->getRateConversion(rateQuantity, conversion) == 0)
        units.emplace_back(rateQuantity->toQuantityString(), rateQuantity->toUnitsString(), conversion, true);
    return units;
}

// Numbers the states that a metric lists, so that their ids follow the list.
void addLegendStates(const pwr::Metric& metric, Series& series) {
    std::string state;
    for (const pwr::Data& entry : metric.m_legendValues) {
        const pwr::DataDescriptor* const descriptor = asDescriptor(handleOf(entry));
        if (descriptor != nullptr && getFirstDataAttributeAsString(descriptor, &state) == 0)
            series.addState(state);
    }
}

SeriesCacheKey keyOf(const pwr::Metric& metric, const pwr::DataElement& element) {
    return {element.getEntity()->getId(), 0, metric.m_id, metric.m_metricType, SOURCE_NONE};
}

// Fills in where the state's name comes from.
void setSource(const pwr::DataElement& element, const ElementReading& reading, SeriesCacheKey& key) {
    const pwr::DataHandle* handle = nullptr;
    switch (reading.stateOrigin) {
        case StateOrigin::Descriptor:
            handle = element.getDescriptor();
            if (handle != nullptr) key.source = SOURCE_DESCRIPTOR;
            break;
        case StateOrigin::TracedValue:
            handle = handleOf(*element.getValue());
            key.source = handle != nullptr ? SOURCE_TRACED_HANDLE : SOURCE_TEXT;
            break;
        case StateOrigin::Text:
            key.source = SOURCE_TEXT;
            break;
        case StateOrigin::DescriptorInValue:
            handle = reading.handle;
            key.source = SOURCE_DESCRIPTOR_IN_VALUE;
            break;
    }
    if (handle != nullptr) key.sourceId = handle->getId();
}

// In wide samples each series has left the processor's cache before its next point comes: fetch the series
// some elements ahead, and nearer the memory that its point goes to.
constexpr std::size_t FAR_AHEAD = 12;
constexpr std::size_t AHEAD = 6;

PREFETCHES void fetchSeries(const SeriesPlaces::Place& place) {
    if (place.target.series != nullptr) place.target.series->getData().fetch();
}

PREFETCHES void fetchPoint(const SeriesPlaces::Place& place) {
    if (place.target.series != nullptr) place.target.series->getData().fetchEnd();
}

}  // namespace

std::uint64_t JSONWriter::toMicroseconds_i(std::uint64_t ticks) const {
    return truncateSaturated<std::uint64_t>(static_cast<float>(ticks) * m_tickFactor);
}

std::int32_t JSONWriter::writeMessage(const pwr::Metric& metric) {
    const auto report = [&metric] { logOutOfMemory("the points of", metric.m_name); };
    return guardMemory(report, 1, [&] {
        return m_continuous ? g_contWriter->writeMessage(metric) : writeElements_i(metric);
    });
}

std::int32_t JSONWriter::writeElements_i(const pwr::Metric& metric) {
    const pwr::Metric::Sample& sample = metric.getData();
    const bool instant = isInstant(metric);
    const std::uint64_t end = toMicroseconds_i(sample.timestamp - m_collectionStart);
    const std::size_t count = sample.elements.size();
    SeriesPlaces::Place* const places = placesOf_i(metric, count);
    const Series* previous = nullptr;
    for (std::size_t i = 0; i < count; ++i) {
        prefetchAfter(sample.elements, i);
        const pwr::DataElement* const element = sample.elements[i];
        if (i + FAR_AHEAD < count) fetchSeries(places[i + FAR_AHEAD]);
        if (i + AHEAD < count) fetchPoint(places[i + AHEAD]);
        const std::uint64_t duration = instant ? 1 : toMicroseconds_i(element->getDuration());
        const ElementReading reading =
            readElement(metric.m_metricType, *element, duration, static_cast<double>(m_tickFactor));
        Slot slot;
        if (!findSlotAt_i(places[i], metric, *element, reading, slot)) return 1;
        if (slot.series == previous)
            // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): a slot that was found has its series
            slot.series->appendData(slot.stateId, reading.value);
        else if (reading.isRange)
            slot.series->addData(end - duration, end, slot.stateId, reading.value, reading.value2);
        else
            slot.series->addData(end - duration, end, slot.stateId, reading.value);
        previous = slot.series;
    }
    return 0;
}

SeriesPlaces::Place* JSONWriter::placesOf_i(const pwr::Metric& metric, std::size_t count) {
    return m_places.placesOf(std::uint64_t{metric.m_metricType} << 32 | metric.m_id, count);
}

// The same as findSlot_i, first by the element's place in the sample. There only descriptors tell states.
bool JSONWriter::findSlotAt_i(SeriesPlaces::Place& place, const pwr::Metric& metric,
                              const pwr::DataElement& element, const ElementReading& reading, Slot& slot) {
    const bool hasPlace = reading.stateOrigin == StateOrigin::Descriptor;
    if (hasPlace && place.isOf(element.getEntity(), element.getDescriptor())) {
        slot = place.target;
        return true;
    }
    if (!findSlot_i(metric, element, reading, slot)) return false;
    if (hasPlace) place = {element.getEntity(), element.getDescriptor(), slot};
    return true;
}

// Finds the series and the state of an element. False if its value should name a descriptor and doesn't.
bool JSONWriter::findSlot_i(const pwr::Metric& metric, const pwr::DataElement& element,
                            const ElementReading& reading, Slot& slot) {
    SeriesCacheKey key = keyOf(metric, element);
    setSource(element, reading, key);
    const Slot* const known = m_cache.find(key);
    if (known == nullptr) {
        if (!findNewSlot_i(metric, element, reading, slot)) return false;
        m_cache[key] = slot;
        return true;
    }
    slot = *known;
    if (key.source == SOURCE_TEXT) {
        m_stateText.clear();
        if (reading.stateOrigin == StateOrigin::Text)
            element.getValue()->toString(m_stateText);
        else
            element.getValue()->toFormattedString(m_stateText);
        slot.stateId = slot.series->getStateId(m_stateText);
    }
    return true;
}

// The same for an element that refers to something new.
bool JSONWriter::findNewSlot_i(const pwr::Metric& metric, const pwr::DataElement& element,
                               const ElementReading& reading, Slot& slot) {
    if (reading.stateOrigin == StateOrigin::DescriptorInValue && asDescriptor(reading.handle) == nullptr) {
        LOG_WARNING("Unable to retrieve data descriptor\n");
        return false;
    }
    m_stateText = stateOf(element, reading);
    slot = findSlotOfState_i(metric, element, reading, m_stateText);
    return true;
}

Slot JSONWriter::findSlotOfState_i(const pwr::Metric& metric, const pwr::DataElement& element,
                                   const ElementReading& reading, const std::string& state) {
    const std::string& entity = element.getEntity()->getName();
    const bool isDelta = metric.m_metricType == pwr::Metric::SAMPLED_DELTA;
    const std::uint64_t seriesKey =
        isDelta ? addSeries(entity + state, state, metric, &element, reading.hasStates)
                : addSeries(entity, entity, metric, &element, reading.hasStates);
    Series* const series = m_series.find(seriesKey)->second;
    return {series, series->getStateId(state)};
}

// Returns the key of the element's series, which is made if it is new.
std::uint64_t JSONWriter::addSeries(const std::string& key, const std::string& name,
                                    const pwr::Metric& metric, const pwr::DataElement* element,
                                    bool hasStates) {
    const std::uint64_t entityId = static_cast<std::uint32_t>(element->getEntity()->getId());
    const std::uint64_t seriesKey =
        (static_cast<std::uint64_t>(metric.m_id) << 32 | entityId) + hash(name.c_str(), 0);
    if (m_series.count(seriesKey) != 0) return seriesKey;

    auto series = std::make_unique<Series>(metric.m_name, unitsOf(metric.m_quantity), key, name,
                                           metric.m_metricType, hasStates);
    addLegendStates(metric, *series);
    // Both containers get the series, or none when memory runs out.
    if (m_ownedSeries.size() == m_ownedSeries.capacity())
        m_ownedSeries.reserve(2 * m_ownedSeries.size() + 16);
    m_series.emplace(seriesKey, series.get());
    m_ownedSeries.push_back(std::move(series));
    return seriesKey;
}
