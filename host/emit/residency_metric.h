// A SAMPLED_RESIDENCY metric: how long entities were in each of their states.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "host/emit/context.h"
#include "host/emit/metric_line.h"
#include "host/emit/report.h"

namespace host::emit {

class ResidencyMetric {
public:
    // `of` says what an entity is, as "CPU"; readings count `ticksPerUnit` clock ticks each.
    ResidencyMetric(const Context& context, Section section, std::string of, double ticksPerUnit);

    // Index of the state of this name, which is new at its first use. Before `define`.
    std::size_t state(const std::string& name);

    // Adds an entity that has these states, and returns its index.
    std::size_t add(Id entity, const std::string& name, const std::vector<std::size_t>& states);
    bool isEmpty() const { return m_items.empty(); }
    void define();

    void baseline(std::uint64_t ticks) { m_ticks = ticks; }

    // Takes readings to count from: a number for each state of the entity, in the order of `add`.
    void start(std::size_t item, std::span<const std::uint64_t> readings);

    // One sample. The first readings of an entity that was not in the sample before only say where it counts
    // from; a counter that falls counts as one that stood still.
    void begin(std::uint64_t ticks);
    void take(std::size_t item, std::span<const std::uint64_t> readings);
    void end();

    void report(Report& report) const;

private:
    struct Item {
        Id entity;
        std::string name;
        std::vector<std::size_t> states;
        std::vector<std::string> heads;  // of the elements of each state
        std::vector<std::uint64_t> readings;
        std::vector<std::uint64_t> totals;  // ticks in each state since the start
        std::uint64_t ticks = 0;            // of the readings
        std::uint64_t observed = 0;         // ticks that the totals stand for
    };

    void defineHeads_i(Item& item);

    const Context& m_context;
    Section m_section;
    std::string m_of;
    double m_ticksPerUnit;
    const bool m_wanted;
    std::vector<std::string> m_states;
    std::vector<Id> m_descriptors;  // of the states, empty before `define`
    std::vector<Item> m_items;
    MetricLine m_line;
    std::uint64_t m_ticks = 0;     // of this sample
    std::uint64_t m_previous = 0;  // of the sample before
};

}  // namespace host::emit
