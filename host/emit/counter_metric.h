// A SAMPLED_DELTA metric: what counters rose by, with average rates and totals in the report.
#pragma once

#include <string>
#include <vector>

#include "host/emit/context.h"
#include "host/emit/metric_line.h"
#include "host/emit/report.h"

namespace host::emit {

struct CounterSpec {
    Section section;  // the metric's id is filled in
    QuantityDefinition quantity;
    QuantityDefinition rate;  // of its change per second
    double rateFactor;
    std::vector<std::string> keys;  // titles of the columns that tell the counters apart
    double mostPerSecond = 0.0;     // a counter cannot rise faster; 0: nothing is known of that
};

class CounterMetric {
public:
    CounterMetric(const Context& context, CounterSpec spec);

    // Adds a counter and returns its index; one that is added after `define` appears when it has something to
    // tell. `name` tells it apart from the other counters of its entity; `keys` are its cells in the report.
    // A counter with a `range` goes on from 0 after it, if the step that this means is possible: at most
    // `mostPerSecond`, or half the range where that is not known. One that falls otherwise has been set back.
    std::size_t add(Id entity, const std::string& name, std::vector<std::string> keys,
                    std::uint64_t range = 0);
    bool isEmpty() const { return m_items.empty(); }
    bool isWanted() const { return m_wanted; }
    void define();

    void baseline(std::uint64_t ticks) { m_ticks = ticks; }

    // One sample: the readings of those counters that have one. A counter's first reading only says where it
    // counts from. So does one after a reset, unless what it shows can have come together since: then it
    // counts from 0. False after a reset.
    void begin(std::uint64_t ticks);
    bool take(std::size_t item, std::uint64_t reading);
    void end();

    // Takes a reading to count from.
    void start(std::size_t item, std::uint64_t reading);

    // As a take whose counter rose by `rise` since the sample before.
    void takeRise(std::size_t item, std::uint64_t rise, std::uint64_t duration);

    void report(Report& report) const;

private:
    struct Item {
        Id entity;
        std::string name;
        std::vector<std::string> keys;
        std::uint64_t range;
        std::string head;  // of its elements
        bool known = false;
        std::uint64_t reading = 0;
        std::uint64_t ticks = 0;     // of that reading
        std::uint64_t total = 0;     // since the start
        std::uint64_t observed = 0;  // ticks that the total stands for
    };

    void defineHead_i(Item& item);
    bool isPossible_i(const Item& item, std::uint64_t rise) const;

    const Context& m_context;
    CounterSpec m_spec;
    const bool m_wanted;
    bool m_isDefined = false;
    NamedDescriptors m_descriptors;
    std::vector<Item> m_items;
    MetricLine m_line;
    std::uint64_t m_ticks = 0;  // of this sample
};

}  // namespace host::emit
