#include "host/emit/value_metric.h"

#include <algorithm>
#include <utility>

#include "host/base/text.h"

namespace host::emit {

ValueMetric::ValueMetric(const Context& context, ValueSpec spec)
    : m_context(context),
      m_spec(std::move(spec)),
      m_wanted(context.wants(m_spec.section.name)),
      m_descriptors(context.define),
      m_line(context) {}

std::size_t ValueMetric::add(Id entity, const std::string& name, const std::string& what) {
    m_items.push_back({.entity = entity, .name = name, .what = what.empty() ? m_spec.what : what});
    if (m_isDefined) defineHead_i(m_items.back());
    return m_items.size() - 1;
}

void ValueMetric::defineHead_i(Item& item) {
    item.head = elementHead(item.entity, m_descriptors.get(item.what));
}

void ValueMetric::define() {
    if (!m_wanted) return;
    m_isDefined = true;
    Definitions& define = m_context.define;
    MetricDefinition metric{.name = m_spec.section.name, .group = m_spec.section.feature};
    metric.type = MetricType::SampledValue;
    metric.quantity = define.quantity(m_spec.quantity);
    metric.value = define.handle(m_spec.what);
    metric.entity = define.handle(m_spec.of);
    for (Item& item : m_items) {
        defineHead_i(item);
        metric.announce(item.entity, m_descriptors.get(item.what));
    }
    m_spec.section.metric = define.metric(metric);
}

void ValueMetric::begin(std::uint64_t ticks) {
    m_duration = ticks - m_previous;
    m_previous = ticks;
    m_line.begin(m_spec.section.metric, ticks);
}

void ValueMetric::Item::take(double value) {
    least = count == 0 ? value : std::min(least, value);
    most = count == 0 ? value : std::max(most, value);
    sum += value;
    ++count;
}

void ValueMetric::takeReal(std::size_t item, double value) {
    if (!m_isDefined) return;
    m_items[item].take(value);
    m_line.entity(1);
    m_line.real(m_items[item].head, m_duration, value);
}

void ValueMetric::takeWhole(std::size_t item, std::uint64_t value) {
    if (!m_isDefined) return;
    m_items[item].take(static_cast<double>(value));
    m_line.entity(1);
    m_line.number(m_items[item].head, m_duration, value);
}

void ValueMetric::end() {
    m_line.end();
}

void ValueMetric::report(Report& report) const {
    if (!m_isDefined) return;
    const std::string units = m_spec.quantity.units.empty() ? "" : " (" + m_spec.quantity.units + ")";
    report.section(m_spec.section);
    report.table(m_spec.section.name + " Summary: Average and Range",
                 {m_spec.of, "Samples", "Minimum" + units, "Average" + units, "Maximum" + units});
    for (const Item& item : m_items) {
        if (item.count == 0) continue;
        const auto text = [&](double value) { return base::fixedText(value, m_spec.decimals); };
        report.row({item.name, std::to_string(item.count), text(item.least),
                    text(item.sum / static_cast<double>(item.count)), text(item.most)});
    }
}

}  // namespace host::emit
