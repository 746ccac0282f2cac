#include "host/emit/counter_metric.h"

#include <utility>

#include "host/base/text.h"

namespace host::emit {

CounterMetric::CounterMetric(const Context& context, CounterSpec spec)
    : m_context(context),
      m_spec(std::move(spec)),
      m_wanted(context.wants(m_spec.section.name)),
      m_descriptors(context.define),
      m_line(context) {}

std::size_t CounterMetric::add(Id entity, const std::string& name, std::vector<std::string> keys,
                               std::uint64_t range) {
    m_items.push_back({entity, name, std::move(keys), range, {}});
    if (m_isDefined) defineHead_i(m_items.back());
    return m_items.size() - 1;
}

void CounterMetric::defineHead_i(Item& item) {
    item.head = elementHead(item.entity, m_descriptors.get(item.name));
}

void CounterMetric::define() {
    if (!m_wanted) return;
    m_isDefined = true;
    Definitions& define = m_context.define;
    MetricDefinition metric{.name = m_spec.section.name, .group = m_spec.section.feature};
    metric.type = MetricType::SampledDelta;
    metric.quantity = define.counted(m_spec.quantity, m_spec.rate, m_spec.rateFactor);
    metric.value = define.handle(m_spec.quantity.name);
    metric.entity = define.handle(m_spec.keys.front());
    for (Item& item : m_items) {
        defineHead_i(item);
        metric.announce(item.entity, m_descriptors.get(item.name));
    }
    m_spec.section.metric = define.metric(metric);
}

void CounterMetric::begin(std::uint64_t ticks) {
    m_ticks = ticks;
    m_line.begin(m_spec.section.metric, ticks);
}

void CounterMetric::start(std::size_t item, std::uint64_t reading) {
    m_items[item].known = true;
    m_items[item].reading = reading;
    m_items[item].ticks = m_ticks;
}

bool CounterMetric::isPossible_i(const Item& item, std::uint64_t rise) const {
    if (m_spec.mostPerSecond == 0.0) return false;
    const double seconds = static_cast<double>(m_ticks - item.ticks) / m_context.ticksPerUsec / 1e6;
    return static_cast<double>(rise) <= m_spec.mostPerSecond * seconds;
}

bool CounterMetric::take(std::size_t index, std::uint64_t reading) {
    Item& item = m_items[index];
    std::uint64_t rise = reading - item.reading;
    bool isSetBack = false;
    if (item.known && reading < item.reading) {
        rise = item.range - item.reading + reading;
        const bool isStep = m_spec.mostPerSecond == 0.0 ? rise <= item.range / 2 : isPossible_i(item, rise);
        isSetBack = item.reading > item.range || !isStep;
        if (isSetBack) rise = reading;
        if (isSetBack && !isPossible_i(item, rise)) item.known = false;
    }
    if (!item.known) {
        start(index, reading);
        return !isSetBack;
    }
    const std::uint64_t duration = m_ticks - item.ticks;
    start(index, reading);
    takeRise(index, rise, duration);
    return !isSetBack;
}

void CounterMetric::takeRise(std::size_t index, std::uint64_t rise, std::uint64_t duration) {
    if (!m_wanted) return;
    Item& item = m_items[index];
    item.total += rise;
    item.observed += duration;
    m_line.entity(1);
    m_line.number(item.head, duration, rise);
}

void CounterMetric::end() {
    m_line.end();
}

void CounterMetric::report(Report& report) const {
    if (!m_isDefined) return;
    report.section(m_spec.section);
    std::vector<std::string> columns = m_spec.keys;
    columns.push_back("Average Rate (" + m_spec.rate.units + ")");
    columns.push_back("Total (" + m_spec.quantity.units + ")");
    report.table(m_spec.section.name + " Summary: Average Rate and Total", columns);
    for (const Item& item : m_items) {
        if (item.observed == 0) continue;
        const double seconds = static_cast<double>(item.observed) / m_context.ticksPerUsec / 1e6;
        std::vector<std::string> cells = item.keys;
        cells.push_back(base::fixedText(static_cast<double>(item.total) * m_spec.rateFactor / seconds, 2));
        cells.push_back(std::to_string(item.total));
        report.row(cells);
    }
}

}  // namespace host::emit
