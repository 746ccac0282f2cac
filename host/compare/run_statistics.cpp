#include "host/compare/run_statistics.h"

#include <cmath>
#include <optional>
#include <unordered_map>
#include <utility>

#include "host/base/instant.h"
#include "pwr/messages.h"
#include "pwr/system_metadata.h"

namespace host::compare {

namespace {

// The number of a value, of a range its middle.
std::optional<double> numberOf(const pwr::Data& value) {
    const auto middle = [](const auto& range) {
        return (static_cast<double>(range.first) + static_cast<double>(range.second)) / 2;
    };
    long whole = 0;
    unsigned long natural = 0;
    double real = 0;
    std::pair<long, long> wholes;
    std::pair<unsigned long, unsigned long> naturals;
    std::pair<double, double> reals;
    if (value.toReal(real) == 0) return real;
    if (value.toUInt(natural) == 0) return static_cast<double>(natural);
    if (value.toInt(whole) == 0) return static_cast<double>(whole);
    if (value.toRealRange(reals) == 0) return middle(reals);
    if (value.toUIntRange(naturals) == 0) return middle(naturals);
    if (value.toIntRange(wholes) == 0) return middle(wholes);
    return std::nullopt;
}

// The rate form of a quantity, if it has one.
const pwr::Quantity* rateOf(const pwr::Metric& metric, double& factor) {
    const pwr::Quantity* rate = nullptr;
    return metric.m_quantity != nullptr && metric.m_quantity->getRateConversion(rate, factor) == 0 ? rate
                                                                                                   : nullptr;
}

std::string commandText(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

bool isSampled(const pwr::Metric& metric) {
    return metric.m_metricType != pwr::Metric::TRACED_VALUE_TRANSITION &&
           metric.m_metricType != pwr::Metric::TRACED_EVENT;
}

// Texts that sort by time: as the collector shows it, else of the clock in the same form.
std::string startOf(const pwr::SystemMetadata& metadata) {
    constexpr std::uint64_t SECOND = 1000000000;
    std::string text = metadata.getCollectionStartTime();
    if (!text.empty() || metadata.m_collectionTime == 0) return text;
    return base::localTimeText(metadata.m_collectionTime) + "." +
           std::to_string(SECOND + metadata.m_collectionTime % SECOND).substr(1);
}

Machine machineOf(const pwr::SystemMetadata& metadata) {
    std::string cpu = metadata.getCPUNativeModelName(metadata.m_cpu.model);
    if (cpu.empty()) cpu = metadata.getFormattedCPUCodeName();
    return {metadata.m_hostName, std::move(cpu), metadata.m_osVersion, commandText(metadata.m_commandLine)};
}

}  // namespace

void RunStatistics::system(const pwr::SystemMessage& message) {
    m_metadata = message.m_metadata;
}

void RunStatistics::metric(const pwr::Metric& metric) {
    for (const pwr::DataElement* const element : metric.getData().elements) {
        const auto ticks = static_cast<double>(element->getDuration());
        const std::optional<double> number = numberOf(*element->getValue());
        Key key(&metric, element->getEntity(), element->getDescriptor(), std::string());
        if (metric.m_metricType == pwr::Metric::TRACED_VALUE_TRANSITION) {
            m_entityTicks[{&metric, element->getEntity()}] += ticks;
            if (!number) element->getValue()->toFormattedString(std::get<3>(key));
        }
        Series& series = seriesOf_i(std::move(key));  // also without a number: others of its name count on
        if (isSampled(metric) && !(number && std::isfinite(*number))) continue;
        series.m_count += 1;
        series.m_ticks += ticks;
        series.m_isNumeric = series.m_isNumeric || number.has_value();
        series.m_sum += number.value_or(0);
        series.m_weightedSum += number.value_or(0) * ticks;
    }
}

RunStatistics::Series& RunStatistics::seriesOf_i(Key key) {
    const auto [place, isNew] = m_places.try_emplace(std::move(key), m_series.size());
    if (isNew) {
        m_keys.push_back(&place->first);
        m_series.emplace_back();
    }
    return m_series[place->second];
}

std::string RunStatistics::nameOf_i(const Key& key, const Series& series) const {
    const auto& [metric, entity, descriptor, state] = key;
    std::string name = metric->m_name + "_" + entity->getQualifiedName();
    if (descriptor != nullptr) name += "_" + descriptor->getName();
    if (!state.empty()) name += "_" + state;
    const std::string units = metric->m_quantity != nullptr ? metric->m_quantity->toUnitsString() : "";
    double factor = 1;
    switch (metric->m_metricType) {
        case pwr::Metric::SAMPLED_RESIDENCY:
            return name + " (%)";
        case pwr::Metric::TRACED_EVENT:
            return name + " (1/s)";
        case pwr::Metric::SAMPLED_DELTA:
            if (const pwr::Quantity* const rate = rateOf(*metric, factor))
                return name + " (" + rate->toUnitsString() + ")";
            return name + " (" + (units.empty() ? "1" : units) + "/s)";
        case pwr::Metric::TRACED_VALUE_TRANSITION:
            if (!series.m_isNumeric) return name + " (%)";
            break;
        case pwr::Metric::SAMPLED_VALUE:
            break;
    }
    return units.empty() ? name : name + " (" + units + ")";
}

// Not finite where the run does not give it.
double RunStatistics::numberOf_i(const Key& key, const Series& series) const {
    const pwr::Metric& metric = *std::get<0>(key);
    const double ticksPerSecond = static_cast<double>(m_metadata->m_tscFrequency) * 1e6;
    double factor = 1;
    switch (metric.m_metricType) {
        case pwr::Metric::SAMPLED_VALUE:
            return series.m_sum / series.m_count;
        case pwr::Metric::SAMPLED_DELTA:
            rateOf(metric, factor);
            return series.m_sum * factor / (series.m_ticks / ticksPerSecond);
        case pwr::Metric::SAMPLED_RESIDENCY:
            return series.m_sum / series.m_ticks * 100;
        case pwr::Metric::TRACED_VALUE_TRANSITION:
            if (series.m_isNumeric) return series.m_weightedSum / series.m_ticks;
            return series.m_ticks / m_entityTicks.at({&metric, std::get<1>(key)}) * 100;
        case pwr::Metric::TRACED_EVENT:
            return series.m_count / m_metadata->getCollectionDurationSec();
    }
    return series.m_sum / series.m_count;
}

void RunStatistics::finish(Run& run) const {
    run.m_time = startOf(*m_metadata);
    run.m_machine = machineOf(*m_metadata);
    run.m_numbers.emplace_back("Duration (sec)", m_metadata->getCollectionDurationSec());
    std::unordered_map<std::string, std::size_t> counts;
    for (std::size_t i = 0; i < m_series.size(); ++i) {
        const double number = numberOf_i(*m_keys[i], m_series[i]);
        const std::string name = nameOf_i(*m_keys[i], m_series[i]);
        // Counted also where a number is missing: the next one of the name has the same place in all runs.
        const std::size_t place = ++counts[name];
        if (std::isfinite(number)) run.m_numbers.emplace_back(numberedName(name, place), number);
    }
}

}  // namespace host::compare
