#include "host/emit/top_metric.h"

#include <algorithm>
#include <utility>

#include "host/base/text.h"

namespace host::emit {

namespace {

constexpr std::size_t MOST_ROWS = 100;  // of the report
constexpr const char* OTHER = "other";

}  // namespace

TopMetric::TopMetric(const Context& context, Spec spec)
    : m_context(context),
      m_spec(std::move(spec)),
      m_wanted(context.wants(m_spec.section.name)),
      m_line(context) {}

void TopMetric::define(const std::vector<Id>& entities) {
    if (!m_wanted) return;
    Definitions& define = m_context.define;
    MetricDefinition metric{.name = m_spec.section.name, .group = m_spec.section.feature};
    metric.type = MetricType::SampledDelta;
    metric.quantity = define.counted(m_spec.quantity, m_spec.rate, m_spec.rateFactor);
    metric.value = define.handle(m_spec.quantity.name);
    metric.entity = define.handle(m_spec.of);
    metric.entities = entities;
    m_spec.section.metric = define.metric(metric);
}

void TopMetric::other(Id entity, Id descriptor) {
    m_otherHead = elementHead(entity, descriptor);
}

void TopMetric::begin(std::uint64_t ticks) {
    m_duration = ticks - m_ticks;
    m_observed += m_duration;
    m_ticks = ticks;
    m_rest = 0;
    m_chosen.clear();
    m_line.begin(m_spec.section.metric, ticks);
}

void TopMetric::take(Item& item, std::uint64_t rise) {
    if (rise > 0 && m_wanted) m_chosen.emplace_back(rise, &item);
}

// The largest first; equal ones as they came, so that the same readings give the same results.
void TopMetric::choose_i() {
    std::stable_sort(m_chosen.begin(), m_chosen.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    if (m_spec.top == 0 || m_chosen.size() <= m_spec.top) return;
    for (std::size_t i = m_spec.top; i < m_chosen.size(); ++i) m_rest += m_chosen[i].first;
    m_chosen.resize(m_spec.top);
}

void TopMetric::deliver_i(const std::string& name, const std::string& head, std::uint64_t rise) {
    m_totals[name] += rise;
    m_line.entity(1);
    m_line.number(head, m_duration, rise);
}

void TopMetric::finish_i() {
    if (m_wanted && !m_otherHead.empty()) deliver_i(OTHER, m_otherHead, m_rest);
    m_line.end();
}

void TopMetric::report(Report& report) const {
    if (!m_wanted) return;
    std::vector<std::pair<std::uint64_t, std::string>> rows;
    for (const auto& [name, total] : m_totals) rows.emplace_back(total, name);
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    if (rows.size() > MOST_ROWS) rows.resize(MOST_ROWS);
    report.section(m_spec.section);
    // Under a title that automation leaves out, as the rows are others in every run.
    report.table(
        m_spec.section.name + " Summary: Counts and Average Rates of the Top",
        {m_spec.of, "Average Rate (" + m_spec.rate.units + ")", "Total (" + m_spec.quantity.units + ")"});
    const double seconds = static_cast<double>(m_observed) / m_context.ticksPerUsec / 1e6;
    for (const auto& [total, name] : rows)
        report.row(
            {name,
             base::fixedText(static_cast<double>(total) * m_spec.rateFactor / std::max(seconds, 1e-9), 2),
             std::to_string(total)});
}

}  // namespace host::emit
