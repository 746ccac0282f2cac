#include "host/kernel_events/mapper.h"

#include <utility>

#include "host/base/text.h"

namespace host::kernel_events {

namespace {

void appendReal(std::string& out, double value) {
    base::appendNumber(out, value);
}

double megahertz(std::int64_t kilohertz) {
    return static_cast<double>(kilohertz) / 1000.0;
}

}  // namespace

Mapper::Mapper(Timeline& timeline, NamePool& names, std::vector<IdleState> idleStates)
    : m_timeline(timeline),
      m_idle(timeline, names, std::move(idleStates)),
      m_processes(timeline, names),
      m_wakeups(m_processes, names),
      m_activities(timeline, names),
      m_marks(timeline, names) {}

void Mapper::setIdleStates(std::uint32_t cpu, std::vector<IdleState> states) {
    m_idle.setStates(cpu, std::move(states));
}

void Mapper::take(const Event& event) {
    switch (event.kind) {
        case Kind::CpuIdle:
            return takeIdle_i(event);
        case Kind::SchedSwitch:
            m_processes.takeSwitch(event);
            return m_wakeups.takeSwitch(event);
        case Kind::SchedWaking:
        case Kind::SchedWakeup:
        case Kind::SchedWakeupNew:
            return m_processes.takeWaking(event);
        case Kind::ProcessExec:
            return m_processes.takeExec(event);
        case Kind::ProcessFork:
            return m_processes.takeFork(event);
        case Kind::ProcessExit:
            return m_processes.takeExit(event);
        case Kind::IrqHandler:
        case Kind::HrtimerExpire:
        case Kind::TimerExpire:
        case Kind::LocalTimer:
        case Kind::Reschedule:
        case Kind::CallFunction:
        case Kind::CallFunctionSingle:
            return m_wakeups.takeInterrupt(event);
        case Kind::CpuFrequency:
        case Kind::CpuFrequencyLimits:
        case Kind::ClockRate:
        case Kind::Temperature:
            return takeReading_i(event);
        case Kind::SourceActivate:
        case Kind::SourceDeactivate:
        case Kind::SuspendResume:
            return m_activities.take(event);
        case Kind::MarkBegin:
        case Kind::MarkEnd:
        case Kind::MarkInstant:
        case Kind::MarkAsyncBegin:
        case Kind::MarkAsyncEnd:
        case Kind::MarkCounter:
            return m_marks.take(event);
        case Kind::Energy:
            return m_processes.takeEnergy(event);
        case Kind::Loss:
            return takeLoss_i(event);
        case Kind::SoftIrq:  // what it does was begun by an interrupt or a thread
        case Kind::None:
            return;
    }
}

void Mapper::takeIdle_i(const Event& event) {
    const auto stay = m_idle.take(event);
    m_wakeups.takeIdle(event, stay);
}

void Mapper::takeReading_i(const Event& event) {
    m_value = "{\"r\":";
    if (event.kind == Kind::CpuFrequency) {
        appendReal(m_value, megahertz(event.a));
        m_timeline.enter(m_timeline.cpu(Series::Frequency, event.subject), event.stamp, m_value += '}');
    } else if (event.kind == Kind::CpuFrequencyLimits) {
        m_value += '[';
        appendReal(m_value, megahertz(event.a));
        m_value += ',';
        appendReal(m_value, megahertz(event.b));
        m_timeline.enter(m_timeline.cpu(Series::FrequencyLimits, event.subject), event.stamp,
                         m_value += "]}");
    } else if (event.kind == Kind::ClockRate) {
        m_value = "{\"u\":" + std::to_string(static_cast<std::uint64_t>(event.a)) + "}";
        m_timeline.enter(m_timeline.named(Series::ClockRate, event.name), event.stamp, m_value);
    } else {
        appendReal(m_value, static_cast<double>(event.a) / 1000.0);
        m_timeline.sample(m_timeline.named(Series::Thermal, event.name), event.stamp, 0, m_value += '}');
    }
}

void Mapper::takeLoss_i(const Event& event) {
    m_idle.forget(event.cpu);
    m_processes.forget(event.cpu);
    m_wakeups.forget(event.cpu);
}

void Mapper::finish(std::uint64_t stop) {
    m_stop = stop;
    m_wakeups.finish();
    m_processes.finish(stop);
    m_idle.finish(stop);
    m_activities.finish(stop);
    m_timeline.finish(stop);
}

void Mapper::report(emit::Report& report, emit::Id& container, std::uint64_t start) const {
    m_idle.report(report, container);
    m_wakeups.report(report, container, m_stop - start);
    m_processes.report(report, container, m_stop - start);
    m_activities.report(report);
}

}  // namespace host::kernel_events
