#include "host/emit/transition_metric.h"

#include <utility>

#include "host/emit/residency_table.h"

namespace host::emit {

TransitionMetric::TransitionMetric(const Context& context, Section section, std::string what, std::string of)
    : m_context(context),
      m_section(std::move(section)),
      m_what(std::move(what)),
      m_of(std::move(of)),
      m_wanted(context.wants(m_section.name)),
      m_line(context) {}

std::size_t TransitionMetric::add(Id entity, const std::string& name) {
    m_items.push_back({.entity = entity, .name = name});
    return m_items.size() - 1;
}

std::size_t TransitionMetric::state_i(std::string_view name) {
    for (std::size_t i = 0; i < m_states.size(); ++i)
        if (m_states[i].name == name) return i;
    m_states.push_back({std::string(name), m_wanted ? m_context.define.descriptor(name) : 0});
    return m_states.size() - 1;
}

void TransitionMetric::define() {
    if (!m_wanted) return;
    m_isDefined = true;
    MetricDefinition metric{.name = m_section.name, .group = m_section.feature};
    metric.type = MetricType::TracedTransition;
    metric.quantity = m_context.define.time();
    metric.value = m_context.define.handle(m_what);
    metric.state = m_context.define.handle("State");
    metric.entity = m_context.define.handle(m_of);
    for (const State& state : m_states) metric.legend.push_back(state.descriptor);
    for (const Item& item : m_items) metric.entities.push_back(item.entity);
    m_section.metric = m_context.define.metric(metric);
}

void TransitionMetric::enter(std::size_t index, std::uint64_t ticks, std::optional<std::string_view> name) {
    Item& item = m_items[index];
    if (name && item.state != NO_STATE && m_states[item.state].name == *name) return;
    const std::size_t next = name ? state_i(*name) : NO_STATE;
    if (item.state != NO_STATE) deliver_i(item, ticks, item.state, ticks - item.since);
    item.state = next;
    item.since = ticks;
}

void TransitionMetric::stay(std::size_t item, std::uint64_t ticks, std::string_view state,
                            std::uint64_t duration) {
    deliver_i(m_items[item], ticks, state_i(state), duration);
}

void TransitionMetric::deliver_i(Item& item, std::uint64_t ticks, std::size_t state, std::uint64_t duration) {
    if (!m_isDefined || duration == 0) return;
    item.ticks.resize(m_states.size());
    item.ticks[state] += duration;
    item.observed += duration;
    const Id descriptor = m_states[state].descriptor;
    m_line.begin(m_section.metric, ticks);
    m_line.handle(elementHead(item.entity, descriptor), duration, descriptor);
    m_line.end();
}

void TransitionMetric::finish(std::uint64_t ticks) {
    for (std::size_t item = 0; item < m_items.size(); ++item) enter(item, ticks, std::nullopt);
}

void TransitionMetric::report(Report& report) const {
    if (!m_isDefined) return;
    std::vector<std::string> names;
    names.reserve(m_states.size());
    std::vector<ResidencyRow> rows;
    for (const State& state : m_states) names.push_back(state.name);
    for (const Item& item : m_items) {
        rows.push_back({item.name, item.ticks, item.observed});
        rows.back().ticks.resize(names.size());
    }
    report.section(m_section);
    writeResidencyTable(report, m_section.name, m_of, names, rows, m_context.ticksPerUsec);
}

}  // namespace host::emit
