#include "export/openmetrics/samples.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "export/clean_text.h"

namespace exporting::openmetrics {

namespace {

constexpr std::size_t MOST_STATES = 1000;
constexpr std::string_view OTHER_STATES = "other";
constexpr std::int64_t NANOSECONDS = 1000000;  // in a millisecond

// Rounds down.
std::int64_t toMilliseconds(std::int64_t nanoseconds) {
    const bool isBelow = nanoseconds % NANOSECONDS < 0;
    return nanoseconds / NANOSECONDS - (isBelow ? 1 : 0);
}

bool isTraced(const pwr::Metric& metric) {
    return metric.m_metricType == pwr::Metric::TRACED_VALUE_TRANSITION ||
           metric.m_metricType == pwr::Metric::TRACED_EVENT;
}

bool isRise(double value) {
    return std::isfinite(value) && value >= 0;
}

}  // namespace

bool Samples::add(const pwr::Metric& metric) {
    const pwr::Metric::Sample& sample = metric.getData();
    const auto time = m_clock.wallNanoseconds(sample.timestamp);
    if (!time || *time < 0) {
        m_counts.leftOut += sample.elements.size();
        return true;
    }
    m_stamp = toMilliseconds(*time);
    m_duration.reset();
    m_metric = &metric;
    m_kind = &kindOf_i(metric);
    auto* place = m_places.placesOf(&metric, sample.elements.size());
    for (const pwr::DataElement* element : sample.elements) {
        const Source source{&metric, element->getEntity(), element->getDescriptor()};
        if (!place->isOf(source.entity, source.item))
            *place = {source.entity, source.item, sourceOf_i(source)};
        const Outcome outcome = addElement_i(*element, place->target);
        ++(outcome == Outcome::Kept     ? m_counts.kept
           : outcome == Outcome::Merged ? m_counts.merged
                                        : m_counts.leftOut);
        ++place;
    }
    return m_writer.isGood();
}

Samples::Kind& Samples::kindOf_i(const pwr::Metric& metric) {
    const auto [found, isNew] = m_kinds.try_emplace(&metric);
    Kind& kind = found->second;
    if (!isNew) return kind;
    kind.isCounter = metric.m_metricType == pwr::Metric::SAMPLED_DELTA || isResidency(metric);
    kind.unit = baseUnit(isResidency(metric) ? "ticks" : unitsOf(metric));
    if (kind.unit.isTicks) kind.unit.divisor = m_clock.ticksPerSecond();
    return kind;
}

std::uint32_t Samples::sourceOf_i(const Source& source) {
    std::uint32_t& number = m_sourceNumbers[source];
    if (number == 0) {
        m_sources.push_back(source);
        number = static_cast<std::uint32_t>(m_sources.size());
    }
    return number - 1;
}

// The elements of a sample mostly have one interval.
Samples::Interval Samples::intervalOf_i(const pwr::DataElement& element) {
    if (element.getDuration() != m_duration) {
        m_duration = element.getDuration();
        m_begin = beginOf_i(*m_duration);
    }
    return {m_begin, m_stamp};
}

std::int64_t Samples::beginOf_i(std::uint64_t duration) const {
    const std::uint64_t end = m_metric->getData().timestamp;
    const auto time = m_clock.wallNanoseconds(end - std::min(end, duration));
    return time ? toMilliseconds(*time) : INT64_MIN;
}

Outcome Samples::addElement_i(const pwr::DataElement& element, std::uint32_t source) {
    readValue(*element.getValue(), m_value);
    switch (m_value.kind) {
        case ValueKind::Number:
            if (m_kind->isCounter && !isRise(m_value.low)) return Outcome::LeftOut;
            return addNumber_i({source, Part::Whole}, m_value.low, intervalOf_i(element));
        case ValueKind::Range:
            return addRange_i(source, intervalOf_i(element));
        case ValueKind::Text:
            return addState_i(source, element.getDuration(), intervalOf_i(element));
        case ValueKind::None:
            break;
    }
    // Something happened, which has no further name.
    if (!isTraced(*m_metric)) return Outcome::LeftOut;
    m_value.text.clear();
    return addState_i(source, element.getDuration(), intervalOf_i(element));
}

Outcome Samples::addNumber_i(SourcePart part, double value, Interval interval) {
    Series& series = numberSeries_i(part);
    if (m_kind->isCounter) return m_writer.add(series, interval.begin, interval.end, value);
    return m_writer.set(series, interval.end, value);
}

Outcome Samples::addRange_i(std::uint32_t source, Interval interval) {
    if (m_kind->isCounter && !(isRise(m_value.low) && isRise(m_value.high))) return Outcome::LeftOut;
    const Outcome outcome = addNumber_i({source, Part::Low}, m_value.low, interval);
    addNumber_i({source, Part::High}, m_value.high, interval);
    return outcome;
}

Outcome Samples::addState_i(std::uint32_t source, std::uint64_t duration, Interval interval) {
    const std::size_t seconds = stateSeries_i({source, Part::State, stateNumber_i()});
    m_writer.add(m_series[seconds], interval.begin, interval.end, static_cast<double>(duration));
    return m_writer.add(m_series[seconds + 1], interval.begin, interval.end, 1);
}

// The number of the state that m_value names.
std::uint32_t Samples::stateNumber_i() {
    std::string_view text = cleanText(m_value.text, m_text);
    auto found = m_kind->states.find(text);
    if (found == m_kind->states.end() && m_kind->states.size() >= MOST_STATES) {
        text = OTHER_STATES;
        found = m_kind->states.find(text);
    }
    if (found == m_kind->states.end()) {
        const auto number = static_cast<std::uint32_t>(m_kind->stateTexts.size());
        m_kind->stateTexts.reserve(number + 1);  // so that nothing fails after the next line
        found = m_kind->states.emplace(text, number).first;
        m_kind->stateTexts.push_back(&found->first);
    }
    return found->second;
}

Series& Samples::numberSeries_i(SourcePart part) {
    const std::uint32_t* const known = m_seriesNumbers.find(part);
    if (known != nullptr) return m_series[*known - 1];
    const FamilyType type = m_kind->isCounter ? FamilyType::Counter : FamilyType::Gauge;
    const std::size_t number = addSeries_i(part, type, m_kind->unit);
    m_seriesNumbers[part] = static_cast<std::uint32_t>(number + 1);
    return m_series[number];
}

// The seconds in a state; the occurrences are the series after it.
std::size_t Samples::stateSeries_i(SourcePart part) {
    const std::uint32_t* const known = m_seriesNumbers.find(part);
    if (known != nullptr) return *known - 1;
    const std::size_t number =
        addSeries_i(part, FamilyType::Counter, {"seconds", 1, m_clock.ticksPerSecond(), true});
    addSeries_i(part, FamilyType::Counter, {"occurrences", 1, 1, false});
    m_seriesNumbers[part] = static_cast<std::uint32_t>(number + 1);
    return number;
}

std::size_t Samples::addSeries_i(SourcePart part, FamilyType type, const Unit& unit) {
    const Source& source = m_sources[part.source];
    Series series{source.metric, source.entity, source.item};
    series.part = part.part;
    series.state = part.state;
    series.factor = unit.factor;
    series.divisor = unit.divisor;
    Family& family = m_families.at(m_families.find(*source.metric, type, unit.name));
    m_series.push_back(std::move(series));
    m_writer.setCount(m_series.size());
    family.series.push_back(m_series.size() - 1);
    return m_series.size() - 1;
}

bool Samples::finish() {
    for (Series& series : m_series) m_writer.finish(series);
    return m_writer.isGood();
}

void Samples::clear() {
    for (Series& series : m_series) series.points = {};
    m_writer.clear();
}

const std::string& Samples::stateOf(const Series& series) const {
    static const std::string NO_STATE;
    return series.part == Part::State ? *m_kinds.at(series.metric).stateTexts[series.state] : NO_STATE;
}

}  // namespace exporting::openmetrics
