// From events of the kernel to metrics and tables.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/emit/report.h"
#include "host/kernel_events/activities.h"
#include "host/kernel_events/event.h"
#include "host/kernel_events/idle_states.h"
#include "host/kernel_events/marks.h"
#include "host/kernel_events/processes.h"
#include "host/kernel_events/timeline.h"
#include "host/kernel_events/wakeups.h"

namespace host::kernel_events {

class Mapper {
public:
    // `idleStates` are those of the machine's idle driver, by number, if they are known. The other two
    // outlive this object.
    Mapper(Timeline& timeline, NamePool& names, std::vector<IdleState> idleStates = {});

    // The rest of what may be known; to be called before the first event. A CPU's own idle states:
    void setIdleStates(std::uint32_t cpu, std::vector<IdleState> states);

    // The process that records these very events:
    void setRecorder(std::int64_t pid) { m_processes.setRecorder(pid); }

    // SchedWaking is among the events, so that SchedWakeup says nothing new.
    void expectWaking() { m_processes.expectWaking(); }

    // Takes the events in their order.
    void take(const Event& event);

    // Takes the stamp of the last event of all, also of those that mean nothing here. Ends the timeline.
    void finish(std::uint64_t stop);

    // Writes the tables of a trace that began at `start`; each section without a metric takes an id from
    // `container` on.
    void report(emit::Report& report, emit::Id& container, std::uint64_t start) const;

private:
    void takeIdle_i(const Event& event);
    void takeReading_i(const Event& event);
    void takeLoss_i(const Event& event);

    Timeline& m_timeline;
    IdleStates m_idle;
    Processes m_processes;
    Wakeups m_wakeups;
    Activities m_activities;
    Marks m_marks;
    std::string m_value;
    std::uint64_t m_stop = 0;
};

}  // namespace host::kernel_events
