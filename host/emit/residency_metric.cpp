#include "host/emit/residency_metric.h"

#include <algorithm>
#include <utility>

#include "host/emit/residency_table.h"

namespace host::emit {

ResidencyMetric::ResidencyMetric(const Context& context, Section section, std::string of, double ticksPerUnit)
    : m_context(context),
      m_section(std::move(section)),
      m_of(std::move(of)),
      m_ticksPerUnit(ticksPerUnit),
      m_wanted(context.wants(m_section.name)),
      m_line(context) {}

std::size_t ResidencyMetric::state(const std::string& name) {
    const auto at = std::find(m_states.begin(), m_states.end(), name);
    if (at == m_states.end()) m_states.push_back(name);
    return static_cast<std::size_t>(std::find(m_states.begin(), m_states.end(), name) - m_states.begin());
}

std::size_t ResidencyMetric::add(Id entity, const std::string& name, const std::vector<std::size_t>& states) {
    Item item{.entity = entity, .name = name, .states = states, .heads = {}, .readings = {}, .totals = {}};
    item.readings.resize(states.size());
    item.totals.resize(states.size());
    if (!m_descriptors.empty()) defineHeads_i(item);
    m_items.push_back(std::move(item));
    return m_items.size() - 1;
}

void ResidencyMetric::defineHeads_i(Item& item) {
    for (const std::size_t state : item.states)
        item.heads.push_back(elementHead(item.entity, m_descriptors[state]));
}

void ResidencyMetric::define() {
    if (!m_wanted) return;
    Definitions& define = m_context.define;
    for (const std::string& name : m_states) m_descriptors.push_back(define.descriptor(name));
    MetricDefinition metric{.name = m_section.name, .group = m_section.feature};
    metric.type = MetricType::SampledResidency;
    metric.quantity = define.time();
    metric.legend = m_descriptors;
    metric.value = define.handle("Residency");
    metric.state = define.handle("State");
    metric.entity = define.handle(m_of);
    for (Item& item : m_items) {
        defineHeads_i(item);
        metric.entities.push_back(item.entity);
        for (const std::size_t state : item.states)
            metric.descriptors.emplace_back(item.entity, m_descriptors[state]);
    }
    m_section.metric = define.metric(metric);
}

void ResidencyMetric::start(std::size_t index, std::span<const std::uint64_t> readings) {
    Item& item = m_items[index];
    std::copy_n(readings.begin(), item.readings.size(), item.readings.begin());
    item.ticks = m_ticks;
}

void ResidencyMetric::begin(std::uint64_t ticks) {
    m_previous = m_ticks;
    m_ticks = ticks;
    m_line.begin(m_section.metric, ticks);
}

void ResidencyMetric::take(std::size_t index, std::span<const std::uint64_t> readings) {
    if (!m_wanted) return;
    Item& item = m_items[index];
    if (item.ticks != m_previous || item.ticks == 0) return start(index, readings);
    const std::uint64_t duration = m_ticks - m_previous;
    m_line.entity(item.heads.size());
    for (std::size_t i = 0; i < item.heads.size(); ++i) {
        const std::uint64_t rise = readings[i] > item.readings[i] ? readings[i] - item.readings[i] : 0;
        // NOLINTNEXTLINE(bugprone-incorrect-roundings): without a call; beyond 2^52 ticks one does not matter
        const auto ticks = static_cast<std::uint64_t>(static_cast<double>(rise) * m_ticksPerUnit + 0.5);
        item.totals[i] += ticks;
        m_line.number(item.heads[i], duration, ticks);
    }
    item.observed += duration;
    start(index, readings);
}

void ResidencyMetric::end() {
    m_line.end();
}

void ResidencyMetric::report(Report& report) const {
    if (m_descriptors.empty()) return;
    std::vector<ResidencyRow> rows;
    for (const Item& item : m_items) {
        ResidencyRow row{item.name, std::vector<std::uint64_t>(m_states.size()), item.observed};
        for (std::size_t i = 0; i < item.states.size(); ++i) row.ticks[item.states[i]] = item.totals[i];
        rows.push_back(std::move(row));
    }
    report.section(m_section);
    writeResidencyTable(report, m_section.name, m_of, m_states, rows, m_context.ticksPerUsec);
}

}  // namespace host::emit
