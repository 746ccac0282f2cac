#include "export/html/lane.h"

#include <cmath>
#include <limits>

#include "plugins/numbers.h"

namespace exporting {

namespace {

constexpr double ONLY_COUNTED = std::numeric_limits<double>::quiet_NaN();

const pwr::DataHandle* handleIn(const pwr::Data& value) {
    const pwr::DataHandle* handle = nullptr;
    value.toHandle(handle);
    return handle;
}

}  // namespace

Lane::Lane(const pwr::Metric& metric, double ticksPerSecond)
    : m_group(metric.m_groupName),
      m_name(metric.m_name),
      m_measure{metric.m_metricType, 1.0, ticksPerSecond} {
    if (metric.m_quantity == nullptr) return;
    m_units = metric.m_quantity->toUnitsString();
    const pwr::Quantity* rate = nullptr;
    m_hasRate = metric.m_quantity->getRateConversion(rate, m_measure.factor) == 0;
    if (m_hasRate && rate != nullptr) m_rateUnits = rate->toUnitsString();
}

bool Lane::isByDescriptor(const pwr::Metric& metric, const pwr::DataElement& element) {
    return metric.m_metricType <= pwr::Metric::SAMPLED_VALUE || element.getValue()->m_type == pwr::DATA_NONE;
}

// A traced element is told by what its value says, if that is a text or refers to something, and else by its
// descriptor. Numbers of events are no states: there may be as many as there are events.
std::string Lane::stateOf_i(const pwr::DataElement& element) const {
    const pwr::Data& value = *element.getValue();
    std::string state;
    if (!isSampled()) {
        if (const pwr::DataHandle* const handle = handleIn(value)) return handle->getName();
        if (value.toString(state) == 0) return state;
    }
    if (element.getDescriptor() != nullptr) return element.getDescriptor()->getName();
    if (m_measure.type == pwr::Metric::TRACED_VALUE_TRANSITION && value.isNumeric())
        value.toFormattedString(state);
    return state;
}

std::uint32_t Lane::numberOfState_i(const std::string& state) {
    const bool isFull = m_states.size() >= MOST_STATES && !isSampled();
    if (const auto known = m_stateNumbers.find(state); known != m_stateNumbers.end()) return known->second;
    const std::string& name = isFull ? "other" : state;
    const auto number = static_cast<std::uint32_t>(m_states.size());
    if (const auto known = m_stateNumbers.find(name); known != m_stateNumbers.end()) return known->second;
    // The name first: without memory for its number it is one that nobody uses.
    m_states.push_back(name);
    m_stateNumbers.emplace(name, number);
    return number;
}

Series& Lane::seriesOf(const pwr::DataElement& element) {
    const void* const entity = element.getEntity();
    std::uint32_t& entityNumber = m_entityNumbers[entity];
    if (entityNumber == 0) {
        m_entities.push_back(element.getEntity());
        entityNumber = static_cast<std::uint32_t>(m_entities.size());
    }
    const std::uint32_t state = numberOfState_i(stateOf_i(element));
    Series*& series = m_seriesByKey[std::uint64_t{entityNumber} << 32 | state];
    if (series == nullptr) {
        m_series.push_back(std::make_unique<Series>(entityNumber - 1, state));
        series = m_series.back().get();
    }
    return *series;
}

double Lane::numberOf(const pwr::DataElement& element) const {
    double number = 0;
    const bool isNumber = readNumber(*element.getValue(), number);
    if (isSampled() ? !isNumber || !std::isfinite(number) : isNumber && !std::isfinite(number))
        return ONLY_COUNTED;
    return isSampled() ? number : 0.0;
}

}  // namespace exporting
