// A SAMPLED_VALUE metric: a reading per entity, with minimum, average and maximum in the report.
#pragma once

#include <string>
#include <vector>

#include "host/emit/context.h"
#include "host/emit/metric_line.h"
#include "host/emit/report.h"

namespace host::emit {

struct ValueSpec {
    Section section;  // the metric's id is filled in
    QuantityDefinition quantity;
    std::string what;  // what is read of each entity, as "Frequency"
    std::string of;    // what an entity is, as "CPU"
    int decimals;      // of the values in the report
};

class ValueMetric {
public:
    ValueMetric(const Context& context, ValueSpec spec);

    // Adds an entity and returns its index. All that are known beforehand are added before `define`. `what`
    // is read of it, if that is not the same for all.
    std::size_t add(Id entity, const std::string& name, const std::string& what = {});
    bool isEmpty() const { return m_items.empty(); }
    void define();

    void baseline(std::uint64_t ticks) { m_previous = ticks; }

    // One sample: the readings of those entities that have one, each holding since the sample before.
    void begin(std::uint64_t ticks);
    void takeReal(std::size_t item, double value);
    void takeWhole(std::size_t item, std::uint64_t value);
    void end();

    void report(Report& report) const;

private:
    struct Item {
        Id entity;
        std::string name;
        std::string what;
        std::string head{};  // of its elements
        std::uint64_t count = 0;
        double least = 0.0;
        double most = 0.0;
        double sum = 0.0;
        void take(double value);
    };

    void defineHead_i(Item& item);

    const Context& m_context;
    ValueSpec m_spec;
    const bool m_wanted;
    bool m_isDefined = false;
    NamedDescriptors m_descriptors;
    std::vector<Item> m_items;
    MetricLine m_line;
    std::uint64_t m_previous = 0;
    std::uint64_t m_duration = 0;
};

}  // namespace host::emit
