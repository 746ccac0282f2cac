#include "host/importers/kernel/trace_builder.h"

#include <string>

#include "host/emit/report.h"
#include "host/importers/system_line.h"
#include "host/kernel_events/table_text.h"

namespace host::importers {

TraceBuilder::TraceBuilder(const ImportTarget& target)
    : m_target(target),
      m_definitionOutput([this](std::string_view line) { return m_definitionLines.append(line); }),
      m_sampleOutput([this](std::string_view line) { return m_sampleLines.append(line); }),
      m_definitions(m_definitionOutput),
      m_context{m_definitions, m_sampleOutput, kernel_events::TICKS_PER_USEC},
      m_timeline(m_context, m_names),
      m_mapper(m_timeline, m_names),
      m_order([this](const kernel_events::Event& event) { m_mapper.take(event); }) {}

void TraceBuilder::finish() {
    m_order.finish();
    m_mapper.finish(m_tally.stop());
    if (m_order.tooLate() > 0)
        m_target.note(std::to_string(m_order.tooLate()) + " events stand more than " +
                      std::to_string(kernel_events::EventOrder::WINDOW) +
                      " events out of order: they are taken at the time of the event before");
    writeSystem_i();
    deliver_i(m_definitionLines);
    deliver_i(m_sampleLines);
    m_definitionOutput.redirect([this](std::string_view line) {
        m_target.lines.write(line);
        return m_target.lines.isOpen();
    });
    emit::Report report(m_target.lines, m_definitions);
    auto container = static_cast<emit::Id>(m_timeline.metricCount() + 1);
    m_mapper.report(report, container, m_tally.start());
    m_tally.report(report, container);
    report.order({"idle", "wakeups", "processes", "wakeup", "suspend", "trace"});
}

void TraceBuilder::deliver_i(emit::Spool& spool) {
    spool.replay([this](std::string_view line) {
        m_target.lines.write(line);
        return m_target.lines.isOpen();
    });
    if (!spool.error().empty()) m_target.fail(spool.error());
}

void TraceBuilder::writeSystem_i() {
    SystemDescription system;
    system.tscMHz = static_cast<float>(kernel_events::TICKS_PER_USEC);
    // No trace gives it, and the import trace is not written without one.
    system.cpuMHz = system.tscMHz;
    system.start = m_tally.start();
    system.stop = m_tally.stop();
    system.durationSec = static_cast<double>(system.stop - system.start) / 1e9;
    system.threadCount = m_tally.cpus();
    if (m_wallClock) system.time = m_wallClock->second - (m_wallClock->first - system.start);
    writeSystem(system, m_target.lines);
}

}  // namespace host::importers
