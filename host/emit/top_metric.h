// A SAMPLED_DELTA metric of many counters that come and go, most of which stand still: a sample holds those
// that rose most.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/emit/context.h"
#include "host/emit/counter_metric.h"
#include "host/emit/metric_line.h"

namespace host::emit {

class TopMetric {
public:
    struct Spec {
        Section section;  // the metric's id is filled in
        QuantityDefinition quantity;
        QuantityDefinition rate;  // of its change per second
        double rateFactor;
        std::string of;   // what a row is, as "Process"
        std::size_t top;  // so many in a sample, 0: all
    };

    // What a counter's elements begin with; made when it is first among the top.
    struct Item {
        std::string name;  // tells it apart in the report
        std::string head;
    };

    TopMetric(const Context& context, Spec spec);

    // `entities` are those that are there from the beginning.
    void define(const std::vector<Id>& entities);
    bool isWanted() const { return m_wanted; }

    // The element that holds the rest of each sample, so that its sum is the whole; without one the rest is
    // left out.
    void other(Id entity, Id descriptor);

    void baseline(std::uint64_t ticks) { m_ticks = ticks; }

    // One sample: by how much each rose since the one before. The items live until `end`, which calls
    // `define(item)` for those that have no head yet.
    void begin(std::uint64_t ticks);
    void take(Item& item, std::uint64_t rise);
    void end(auto define) {
        choose_i();
        for (auto& [rise, item] : m_chosen) {
            if (item->head.empty()) define(*item);
            deliver_i(item->name, item->head, rise);
        }
        finish_i();
    }

    void report(Report& report) const;

private:
    void choose_i();
    void deliver_i(const std::string& name, const std::string& head, std::uint64_t rise);
    void finish_i();

    const Context& m_context;
    Spec m_spec;
    const bool m_wanted;
    MetricLine m_line;
    std::string m_otherHead;
    std::vector<std::pair<std::uint64_t, Item*>> m_chosen;
    std::uint64_t m_rest = 0;
    std::uint64_t m_ticks = 0;
    std::uint64_t m_duration = 0;
    std::uint64_t m_observed = 0;
    std::map<std::string, std::uint64_t> m_totals;  // by name
};

}  // namespace host::emit
