// What every reader of kernel events makes a message stream with.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "host/emit/context.h"
#include "host/emit/definitions.h"
#include "host/emit/output.h"
#include "host/emit/spool.h"
#include "host/importers/importer.h"
#include "host/kernel_events/event_order.h"
#include "host/kernel_events/mapper.h"
#include "host/kernel_events/name_pool.h"
#include "host/kernel_events/tally.h"
#include "host/kernel_events/timeline.h"

namespace host::importers {

// Takes events in the order of the trace. The stream is gathered and delivered at the end, so that the system
// message gives the true start and stop, and metrics their entities.
class TraceBuilder {
public:
    explicit TraceBuilder(const ImportTarget& target);

    kernel_events::NamePool& names() { return m_names; }
    kernel_events::Tally& tally() { return m_tally; }

    // What is known beside the events is told to it before them.
    kernel_events::Mapper& mapper() { return m_mapper; }

    // Takes an event that means something; all of them have been seen by the tally.
    void add(const kernel_events::Event& event) {
        if (event.kind == kernel_events::Kind::SchedWaking) m_mapper.expectWaking();
        m_order.add(event);
    }

    // Notes the time of day at a stamp: nanoseconds since 1970.
    void setWallClock(std::uint64_t stamp, std::uint64_t nanoseconds) { m_wallClock = {stamp, nanoseconds}; }

    // Delivers the stream.
    void finish();

private:
    void deliver_i(emit::Spool& spool);
    void writeSystem_i();

    const ImportTarget m_target;
    emit::Spool m_definitionLines;
    emit::Spool m_sampleLines;
    emit::Output m_definitionOutput;
    emit::Output m_sampleOutput;
    emit::Definitions m_definitions;
    emit::Context m_context;
    kernel_events::NamePool m_names;
    kernel_events::Tally m_tally;
    kernel_events::Timeline m_timeline;
    kernel_events::Mapper m_mapper;
    kernel_events::EventOrder m_order;
    std::optional<std::pair<std::uint64_t, std::uint64_t>> m_wallClock;
};

}  // namespace host::importers
