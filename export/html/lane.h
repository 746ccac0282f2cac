#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "export/html/series.h"
#include "plugins/flat_map.h"
#include "pwr/metric.h"

namespace exporting {

// What the page shows of one metric: its names and its series.
class Lane {
public:
    // So many states of a metric are told apart; what comes then is "other".
    static constexpr std::size_t MOST_STATES = 1000;

    Lane(const pwr::Metric& metric, double ticksPerSecond);

    // Whether the element's series follows from its entity and its descriptor alone.
    static bool isByDescriptor(const pwr::Metric& metric, const pwr::DataElement& element);

    // The series that the element belongs to, which is made if it is new.
    Series& seriesOf(const pwr::DataElement& element);

    // The number by which the element is kept, not-a-number if it is only to be counted.
    double numberOf(const pwr::DataElement& element) const;

    bool isSampled() const { return m_measure.type <= pwr::Metric::SAMPLED_VALUE; }

    std::string m_group;
    std::string m_name;
    std::string m_units;
    std::string m_rateUnits;
    bool m_hasRate = false;
    Measure m_measure;
    std::vector<const pwr::EntityHandle*> m_entities;  // in order of appearance
    std::vector<std::string> m_states;                 // likewise; of sampled numbers the names of parts
    std::vector<std::unique_ptr<Series>> m_series;     // likewise

    // Of the messages, for the interval at which the metric was sampled.
    std::uint64_t m_messages = 0;
    std::int64_t m_firstTime = 0;
    std::int64_t m_lastTime = 0;

private:
    std::string stateOf_i(const pwr::DataElement& element) const;
    std::uint32_t numberOfState_i(const std::string& state);

    FlatMap<const void*, std::uint32_t> m_entityNumbers;  // counted from 1
    std::unordered_map<std::string, std::uint32_t> m_stateNumbers;
    FlatMap<std::uint64_t, Series*> m_seriesByKey;  // entity and state number
};

}  // namespace exporting
