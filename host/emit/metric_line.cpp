#include "host/emit/metric_line.h"

#include "host/base/text.h"

namespace host::emit {

std::string elementHead(Id entity, Id descriptor) {
    return "{\"e\":" + std::to_string(entity) + ",\"d\":" + std::to_string(descriptor) + ",\"dur\":";
}

void beginMetric(std::string& line, Id metric, std::uint64_t ticks) {
    line.assign("{\"msg\":\"metric\",\"metric\":");
    base::appendNumber(line, metric);
    line.append(",\"t\":");
    base::appendNumber(line, ticks);
    line.append(",\"data\":[");
}

void MetricLine::begin(Id metric, std::uint64_t ticks) {
    m_metric = metric;
    m_ticks = ticks;
    head_i();
}

void MetricLine::head_i() {
    beginMetric(m_text, m_metric, m_ticks);
    m_attributes = 1;
    m_empty = true;
}

void MetricLine::entity(std::size_t elements) {
    // One for the entity and four for each element, beside the one for the metric.
    const std::size_t attributes = 1 + 4 * elements;
    if (m_mostAttributes != 0 && m_attributes + attributes > m_mostAttributes) {
        end();
        head_i();
    }
    m_attributes += attributes;
}

void MetricLine::element_i(std::string_view head, std::uint64_t duration) {
    if (!m_empty) m_text.push_back(',');
    m_empty = false;
    m_text.append(head);
    base::appendNumber(m_text, duration);
}

void MetricLine::number(std::string_view head, std::uint64_t duration, std::uint64_t value) {
    element_i(head, duration);
    m_text.append(",\"v\":{\"u\":");
    base::appendNumber(m_text, value);
    m_text.append("}}");
}

void MetricLine::real(std::string_view head, std::uint64_t duration, double value) {
    element_i(head, duration);
    m_text.append(",\"v\":{\"r\":");
    base::appendNumber(m_text, value);
    m_text.append("}}");
}

void MetricLine::handle(std::string_view head, std::uint64_t duration, Id value) {
    element_i(head, duration);
    m_text.append(",\"v\":{\"h\":");
    base::appendNumber(m_text, value);
    m_text.append("}}");
}

void MetricLine::element(std::string_view head, std::uint64_t duration, std::string_view tail) {
    element_i(head, duration);
    m_text.append(tail);
}

void MetricLine::end() {
    if (m_empty) return;
    m_text.append("]}");
    m_output.write(m_text);
    m_empty = true;
}

}  // namespace host::emit
