#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/compare/group.h"
#include "host/stream/message_sink.h"
#include "pwr/metric.h"

namespace host::compare {

// Turns the messages of one recorded run into numbers, one for each metric, entity and item (a state or
// part):
//   SAMPLED_VALUE             the mean of the readings
//   SAMPLED_DELTA             the rate per second over the intervals, in the units of the quantity's rate
//   SAMPLED_RESIDENCY         the share of the intervals, in percent
//   TRACED_VALUE_TRANSITION   numbers: the mean over time; states and texts: the share of time, in percent
//   TRACED_EVENT              how often per second
// and the duration. Columns are named METRIC_ENTITY_ITEM (UNIT).
class RunStatistics : public stream::MessageSink {
public:
    void setLine(std::uint64_t) override {}
    void table(const pwr::TableMessage&, pwr::TableClass) override {}
    void text(const pwr::TextMessage&) override {}
    void system(const pwr::SystemMessage& message) override;
    void metric(const pwr::Metric& metric) override;
    void container(const pwr::MetricContainerInfoMessage&) override {}
    void id(const pwr::IdMessage&) override {}
    void flush(const pwr::SystemMetadata&) override {}

    // Whether a system message has come: without one there is no run.
    bool isRun() const { return m_metadata != nullptr; }

    // Fills time, numbers and machine. All that the messages pointed to must still be there.
    void finish(Run& run) const;

private:
    // What is known of one item.
    struct Series {
        double m_count = 0;
        double m_sum = 0;
        double m_weightedSum = 0;  // by duration
        double m_ticks = 0;        // durations of its elements
        bool m_isNumeric = false;
    };
    // Metric, entity, descriptor, and the state where a value gives it.
    using Key =
        std::tuple<const pwr::Metric*, const pwr::EntityHandle*, const pwr::DataDescriptor*, std::string>;

    Series& seriesOf_i(Key key);
    std::string nameOf_i(const Key& key, const Series& series) const;
    double numberOf_i(const Key& key, const Series& series) const;

    const pwr::SystemMetadata* m_metadata = nullptr;
    std::map<Key, std::size_t> m_places;
    std::vector<const Key*> m_keys;  // in order of first appearance
    std::vector<Series> m_series;
    std::map<std::pair<const pwr::Metric*, const pwr::EntityHandle*>, double>
        m_entityTicks;  // of transitions
};

}  // namespace host::compare
