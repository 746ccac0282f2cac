#include "host/kernel_events/timeline.h"

#include <algorithm>
#include <utility>

#include "host/base/text.h"
#include "host/emit/json_line.h"
#include "host/emit/metric_line.h"

namespace host::kernel_events {

namespace key = emit::key;
namespace message = emit::message;

namespace {

using emit::MetricType;
using emit::QuantityKind;

struct SeriesInfo {
    const char* name;
    const char* group;
    MetricType type;
    QuantityKind kind;  // of the values
    const char* quantity;
    const char* units;
    const char* what;  // is reported of
    const char* of;    // such an entity
    int tableClass = 0;
};

constexpr int KERNEL_WAKELOCK_CLASS = 14;

// In the order of Series.
constexpr SeriesInfo INFO[SERIES] = {
    {"CPU Idle State", "idle", MetricType::TracedTransition, QuantityKind::Time, "Time", "", "State", "CPU"},
    {"CPU Frequency Changes", "frequency", MetricType::TracedTransition, QuantityKind::Frequency, "Frequency",
     "MHz", "Frequency", "CPU"},
    {"CPU Frequency Limits", "frequency", MetricType::TracedTransition, QuantityKind::Frequency, "Frequency",
     "MHz", "Limits", "CPU"},
    {"Process on CPU", "process", MetricType::TracedTransition, QuantityKind::Time, "Time", "", "Process",
     "CPU"},
    {"Clock Rate", "clock", MetricType::TracedTransition, QuantityKind::Frequency, "Frequency", "Hz", "Rate",
     "Clock"},
    {"Kernel Wakeup Sources", "wakeup", MetricType::TracedTransition, QuantityKind::Time, "Time", "", "State",
     "Source", KERNEL_WAKELOCK_CLASS},
    {"Suspend", "suspend", MetricType::TracedTransition, QuantityKind::Time, "Time", "", "Action", "System"},
    {"Trace Marks", "marks", MetricType::TracedEvent, QuantityKind::Time, "Time", "", "Mark", "Thread"},
    {"Trace Counters", "marks", MetricType::SampledValue, QuantityKind::Count, "Value", "", "Value",
     "Counter"},
    {"Thermal Zones", "thermal", MetricType::SampledValue, QuantityKind::Temperature, "Temperature", "C",
     "Temperature", "Zone"},
};

const SeriesInfo& infoOf(Series series) {
    return INFO[static_cast<std::size_t>(series)];
}

}  // namespace

Timeline::Timeline(const emit::Context& context, const NamePool& names,
                   std::optional<Surroundings> surroundings)
    : m_context(context), m_names(names), m_surroundings(std::move(surroundings)) {
    m_context.define.time();
    for (std::size_t series = 0; series < SERIES; ++series)
        m_metrics[series].isWanted = m_context.wants(INFO[series].name);
}

void Timeline::begin_i(Series series) {
    constexpr emit::Id UNWANTED = 0x70000000;
    Metric& metric = m_metrics[static_cast<std::size_t>(series)];
    if (!metric.isWanted) {
        metric.id = UNWANTED + static_cast<emit::Id>(series);
        return;
    }
    m_used.push_back(series);
    metric.id = static_cast<emit::Id>(m_used.size());
    metric.descriptor = m_context.define.descriptor(infoOf(series).what);
    if (m_surroundings && std::string_view(infoOf(series).of) == "CPU")
        for (const std::uint32_t cpu : m_surroundings->cpus) metric.entities.push_back(cpuEntity_i(cpu));
}

Timeline::Row Timeline::add_i(Series series, auto makeEntity) {
    Metric& metric = m_metrics[static_cast<std::size_t>(series)];
    const bool isNew = metric.id == 0;
    if (isNew) begin_i(series);
    m_rows.push_back({.series = series, .head = {}, .value = {}});
    if (!metric.isWanted) return m_rows.size() - 1;
    const emit::Id entity = makeEntity();
    if (std::find(metric.entities.begin(), metric.entities.end(), entity) == metric.entities.end())
        metric.entities.push_back(entity);
    m_rows.back().head = emit::elementHead(entity, metric.descriptor);
    if (isNew && m_surroundings) metric.id = define_i(series);
    return m_rows.size() - 1;
}

Timeline::Row Timeline::find_i(Series series, std::uint64_t key, auto makeEntity) {
    auto& keys = m_keys[static_cast<std::size_t>(series)];
    if (const auto known = keys.find(key); known != keys.end()) return known->second;
    return keys[key] = add_i(series, makeEntity);
}

emit::Id Timeline::cpuEntity_i(std::uint32_t number) {
    if (m_surroundings) return m_surroundings->cpuEntity(number);
    if (m_cpus.size() <= number) m_cpus.resize(number + 1);
    if (m_cpus[number] == 0) m_cpus[number] = m_context.define.entity("CPU" + std::to_string(number));
    return m_cpus[number];
}

emit::Id Timeline::systemEntity_i() {
    if (m_surroundings) return m_surroundings->system;
    if (m_system == 0) m_system = m_context.define.entity("System");
    return m_system;
}

Timeline::Row Timeline::cpu(Series series, std::uint32_t number) {
    return find_i(series, number, [&] { return cpuEntity_i(number); });
}

Timeline::Row Timeline::named(Series series, NameId name) {
    return find_i(series, name, [&] { return m_context.define.entity(m_names.text(name)); });
}

Timeline::Row Timeline::thread(NameId comm, std::int64_t pid) {
    return find_i(Series::Marks, static_cast<std::uint64_t>(pid),
                  [&] { return m_context.define.entity(m_names.text(comm) + "-" + std::to_string(pid)); });
}

Timeline::Row Timeline::action(NameId name, std::int64_t value) {
    const std::uint64_t key = (std::uint64_t{name} << 32) ^ static_cast<std::uint64_t>(value);
    return find_i(Series::Suspend, key, [&] { return systemEntity_i(); });
}

void Timeline::enter(Row row, std::uint64_t stamp, std::string_view value) {
    leave(row, stamp);
    Line& line = m_rows[row];
    line.isHeld = true;
    line.since = stamp;
    line.value.assign(value);
}

// What lasted no time is left out: writers want samples of an entity to be of different times.
void Timeline::leave(Row row, std::uint64_t stamp) {
    Line& line = m_rows[row];
    if (line.isHeld && stamp > line.since) sample(row, stamp, stamp - line.since, line.value);
    line.isHeld = false;
}

void Timeline::sample(Row row, std::uint64_t stamp, std::uint64_t duration, std::string_view value,
                      std::string_view info) {
    const Line& line = m_rows[row];
    if (!m_metrics[static_cast<std::size_t>(line.series)].isWanted) return;
    if (m_surroundings) {
        const std::uint64_t begin = m_surroundings->ticks(stamp - duration);
        stamp = m_surroundings->ticks(stamp);
        duration = stamp - begin;
    }
    emit::beginMetric(m_text, metric(line.series), stamp);
    m_text.append(line.head);
    base::appendNumber(m_text, duration);
    if (!info.empty()) m_text.append(",\"info\":[").append(info).push_back(']');
    m_text.append(",\"v\":").append(value).append("}]}");
    m_context.output.write(m_text);
}

void Timeline::endOf(emit::Id handle, std::uint64_t stamp) {
    const std::uint64_t ticks = m_surroundings ? m_surroundings->ticks(stamp) : stamp;
    emit::JsonLine(key::MESSAGE, message::END)
        .member(key::ID, handle)
        .member(key::TSC, ticks)
        .writeTo(m_context.output);
}

void Timeline::finish(std::uint64_t stop) {
    for (Row row = 0; row < m_rows.size(); ++row) leave(row, stop);
    if (m_surroundings) return;
    for (const Series series : m_used) define_i(series);
}

emit::Id Timeline::define_i(Series series) {
    emit::Definitions& define = m_context.define;
    const SeriesInfo& info = infoOf(series);
    const Metric& used = m_metrics[static_cast<std::size_t>(series)];
    emit::MetricDefinition metric{.name = info.name, .group = info.group};
    metric.type = info.type;
    metric.tableClass = info.tableClass;
    metric.quantity = info.kind == QuantityKind::Time
                          ? define.time()
                          : define.quantity({info.kind, info.quantity, info.units});
    metric.value = define.handle(info.what);
    metric.entity = define.handle(info.of);
    metric.entities = used.entities;
    for (const emit::Id entity : used.entities) metric.descriptors.emplace_back(entity, used.descriptor);
    return define.metric(metric);
}

}  // namespace host::kernel_events
