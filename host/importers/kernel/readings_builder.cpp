#include "host/importers/kernel/readings_builder.h"

#include <cmath>

namespace host::importers {

namespace {

constexpr double TICKS_PER_USEC = 1000.0;

emit::QuantityDefinition quantityOf(const std::string& name, std::string_view units) {
    using emit::QuantityKind;
    const std::string text(units);
    if (units == "MHz") return {QuantityKind::Frequency, "Frequency", text};
    if (units == "%") return {QuantityKind::Share, "Share", text};
    if (units == "C") return {QuantityKind::Temperature, "Temperature", text};
    if (units == "W") return {QuantityKind::Power, "Power", text};
    if (units == "J") return {QuantityKind::Energy, "Energy", text};
    return {QuantityKind::Level, name, text};
}

}  // namespace

ReadingsBuilder::ReadingsBuilder(const ImportTarget& target)
    : m_target(target),
      m_definitionOutput([this](std::string_view line) { return m_definitionLines.append(line); }),
      m_sampleOutput([this](std::string_view line) { return m_sampleLines.append(line); }),
      m_definitions(m_definitionOutput),
      m_context{m_definitions, m_sampleOutput, TICKS_PER_USEC} {
    m_definitions.time();
}

void ReadingsBuilder::begin(std::uint64_t stamp, std::uint64_t duration) {
    end_i();
    if (m_samples++ == 0) m_start = stamp - duration;
    m_stamp = stamp;
    m_duration = duration;
}

void ReadingsBuilder::end_i() {
    for (Column& column : m_columns)
        if (column.sample == m_samples) column.line.end();
}

std::size_t ReadingsBuilder::column_i(const std::string& name, std::string_view units) {
    const auto [known, isNew] = m_places.try_emplace(name, m_columns.size());
    if (isNew)
        m_columns.push_back({.name = name,
                             .descriptor = m_definitions.descriptor(name),
                             .quantity = quantityOf(name, units),
                             .line = emit::MetricLine(m_context),
                             .heads = {},
                             .entities = {}});
    return known->second;
}

emit::Id ReadingsBuilder::entity_i(const std::string& name) {
    emit::Id& entity = m_entities[name];
    if (entity == 0) entity = m_definitions.entity(name);
    return entity;
}

void ReadingsBuilder::add(const std::string& metric, std::string_view units, const std::string& entity,
                          double value) {
    if (!std::isfinite(value)) return;
    const std::size_t place = column_i(metric, units);
    Column& column = m_columns[place];
    if (column.sample != m_samples) column.line.begin(static_cast<emit::Id>(place + 1), m_stamp);
    column.sample = m_samples;
    const emit::Id id = entity_i(entity);
    std::string& head = column.heads[id];
    if (head.empty()) {
        head = emit::elementHead(id, column.descriptor);
        column.entities.push_back(id);
    }
    column.line.entity(1);
    column.line.real(head, m_duration, value);
}

void ReadingsBuilder::define_i() {
    for (const Column& column : m_columns) {
        emit::MetricDefinition metric{.name = column.name,
                                      .group = column.name.substr(0, column.name.find('.'))};
        metric.quantity = m_definitions.quantity(column.quantity);
        metric.value = column.descriptor;
        metric.entities = column.entities;
        for (const emit::Id entity : column.entities)
            metric.descriptors.emplace_back(entity, column.descriptor);
        m_definitions.metric(metric);
    }
}

bool ReadingsBuilder::deliver_i(std::string_view line) {
    m_target.lines.write(line);
    return m_target.lines.isOpen();
}

void ReadingsBuilder::deliver_i(emit::Spool& spool) {
    spool.replay([this](std::string_view line) { return deliver_i(line); });
    if (!spool.error().empty()) m_target.fail(spool.error());
}

void ReadingsBuilder::finish(SystemDescription system, bool isWallClock) {
    end_i();
    define_i();
    system.tscMHz = static_cast<float>(TICKS_PER_USEC);
    // No reading gives it, and the import trace is not written without one.
    system.cpuMHz = system.tscMHz;
    system.start = m_start;
    system.stop = m_stamp;
    system.durationSec = static_cast<double>(m_stamp - m_start) / 1e9;
    if (isWallClock) system.time = m_start;
    writeSystem(system, m_target.lines);
    deliver_i(m_definitionLines);
    deliver_i(m_sampleLines);
}

}  // namespace host::importers
