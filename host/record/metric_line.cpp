#include "host/record/metric_line.h"

#include "host/record/text.h"

namespace host::recorder {

namespace {

// A record of the import format holds this many attributes: one for the metric, one for each entity and four
// for each element.
constexpr std::size_t MOST_ATTRIBUTES = 2048;

}  // namespace

std::string elementHead(Id entity, Id descriptor) {
    return "{\"e\":" + std::to_string(entity) + ",\"d\":" + std::to_string(descriptor) + ",\"dur\":";
}

void MetricLine::begin(Id metric, std::uint64_t ticks) {
    m_metric = metric;
    m_ticks = ticks;
    head_i();
}

void MetricLine::head_i() {
    m_text.assign("{\"msg\":\"metric\",\"metric\":");
    appendNumber(m_text, m_metric);
    m_text.append(",\"t\":");
    appendNumber(m_text, m_ticks);
    m_text.append(",\"data\":[");
    m_attributes = 1;
    m_empty = true;
}

void MetricLine::entity(std::size_t elements) {
    const std::size_t attributes = 1 + 4 * elements;
    if (m_attributes + attributes > MOST_ATTRIBUTES) {
        end();
        head_i();
    }
    m_attributes += attributes;
}

void MetricLine::element_i(std::string_view head, std::uint64_t duration) {
    if (!m_empty) m_text.push_back(',');
    m_empty = false;
    m_text.append(head);
    appendNumber(m_text, duration);
}

void MetricLine::number(std::string_view head, std::uint64_t duration, std::uint64_t value) {
    element_i(head, duration);
    m_text.append(",\"v\":{\"u\":");
    appendNumber(m_text, value);
    m_text.append("}}");
}

void MetricLine::real(std::string_view head, std::uint64_t duration, double value) {
    element_i(head, duration);
    m_text.append(",\"v\":{\"r\":");
    appendNumber(m_text, value);
    m_text.append("}}");
}

void MetricLine::handle(std::string_view head, std::uint64_t duration, Id value) {
    element_i(head, duration);
    m_text.append(",\"v\":{\"h\":");
    appendNumber(m_text, value);
    m_text.append("}}");
}

void MetricLine::end() {
    if (m_empty) return;
    m_text.append("]}");
    m_output.write(m_text);
    m_empty = true;
}

}  // namespace host::recorder
