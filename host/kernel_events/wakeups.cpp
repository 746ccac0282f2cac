#include "host/kernel_events/wakeups.h"

#include <algorithm>

#include "host/kernel_events/table_text.h"

namespace host::kernel_events {

namespace {

bool keepsTick(std::string_view function) {
    return function == "tick_nohz_handler" || function == "tick_sched_timer" ||
           function == "tick_nohz_highres_handler" || function == "tick_handle_periodic";
}

}  // namespace

const char* Wakeups::textOf_i(Type type) {
    switch (type) {
        case Type::Irq:
            return "irq";
        case Type::Timer:
            return "timer";
        case Type::Ipi:
            return "IPI";
        case Type::Task:
            return "task";
        case Type::Unknown:
            return "unknown";
    }
    return "";
}

Wakeups::Cpu& Wakeups::cpu_i(std::uint32_t number) {
    if (m_cpus.size() <= number) m_cpus.resize(number + 1);
    return m_cpus[number];
}

void Wakeups::takeInterrupt(const Event& event) {
    Cpu& cpu = cpu_i(event.cpu);
    if (!cpu.isIdle && (!cpu.isWaiting || cpu.isCauseKnown)) return;
    Window& window = cpu.window;
    if (window.first == Kind::None) {
        window.first = event.kind;
        window.handler = event.name;
    }
    if (event.kind != Kind::HrtimerExpire && event.kind != Kind::TimerExpire) return;
    NameId& function = keepsTick(m_names.text(event.name)) ? window.tick : window.function;
    if (function == 0) function = event.name;
}

void Wakeups::takeIdle(const Event& event, const std::optional<IdleStay>& stay) {
    Cpu& cpu = cpu_i(event.subject);
    if (cpu.isWaiting) resolve_i(cpu, std::nullopt);
    cpu.isIdle = event.a != IDLE_EXIT;
    if (cpu.isIdle) cpu.window = {};
    if (!stay || !stay->isEndedByWakeup) return;
    cpu.isWaiting = true;
    cpu.isCauseKnown = cpu.window.first != Kind::None;
    cpu.stay = *stay;
}

void Wakeups::takeSwitch(const Event& event) {
    Cpu& cpu = cpu_i(event.cpu);
    if (cpu.isWaiting) resolve_i(cpu, m_processes.find(event.b));
}

void Wakeups::forget(std::uint32_t cpu) {
    if (cpu < m_cpus.size()) m_cpus[cpu] = {};
}

void Wakeups::finish() {
    for (Cpu& cpu : m_cpus)
        if (cpu.isWaiting) resolve_i(cpu, std::nullopt);
}

NameId Wakeups::timerOf_i(const Window& window) {
    if (window.function != 0) return window.function;
    return window.tick != 0 ? window.tick : m_names.get("local timer");
}

void Wakeups::resolve_i(Cpu& cpu, std::optional<std::size_t> next) {
    cpu.isWaiting = false;
    Waking waking;
    if (next) waking = m_processes.lastWaking(*next);
    const bool isWoken = waking.isKnown && waking.place > cpu.stay.beganAt;
    const std::size_t waker = isWoken ? waking.waker.value_or(NOBODY) : NOBODY;
    const std::size_t thread = next.value_or(NOBODY);
    switch (cpu.window.first) {
        case Kind::IrqHandler:
            return count_i(cpu, Type::Irq, cpu.window.handler, NOBODY, thread);
        case Kind::LocalTimer:
        case Kind::HrtimerExpire:
        case Kind::TimerExpire:
            return count_i(cpu, Type::Timer, timerOf_i(cpu.window), NOBODY, thread);
        case Kind::Reschedule:
            return count_i(cpu, Type::Ipi, m_names.get("reschedule"), NOBODY, waker);
        case Kind::CallFunction:
            return count_i(cpu, Type::Ipi, m_names.get("call function"), NOBODY, waker);
        case Kind::CallFunctionSingle:
            return count_i(cpu, Type::Ipi, m_names.get("call function single"), NOBODY, waker);
        default:
            break;
    }
    if (waker != NOBODY && waking.cpu != cpu.stay.cpu) return count_i(cpu, Type::Task, 0, waker, waker);
    count_i(cpu, Type::Unknown, m_names.get("unknown"), NOBODY, NOBODY);
}

void Wakeups::count_i(const Cpu& cpu, Type type, NameId cause, std::size_t causeLife, std::size_t life) {
    const Key key{cpu.stay.cpu, type, cause, causeLife, life};
    const auto [known, isNew] = m_places.try_emplace(key, m_counts.size());
    if (isNew) m_counts.emplace_back(key, Count{});
    Count& count = m_counts[known->second].second;
    ++count.count;
    count.idle += cpu.stay.length;
    if (life != NOBODY) m_processes.countWakeup(life);
}

void Wakeups::report(emit::Report& report, emit::Id& container, std::uint64_t length) const {
    if (m_counts.empty()) return;
    std::map<std::pair<std::uint32_t, Type>, std::uint64_t> kinds;
    for (const auto& [key, count] : m_counts) kinds[{std::get<0>(key), std::get<1>(key)}] += count.count;
    report.section({container++, "wakeups", "Wakeups", ""});
    report.table("Wakeups Summary: Average Rate and Total",
                 {"CPU", "Kind", "Average Rate (wakeups/s)", "Total (wakeups)"});
    for (const auto& [kind, count] : kinds)
        report.row(
            {cpuText(kind.first), textOf_i(kind.second), rateText(count, length), std::to_string(count)});
    report.section({container++, "wakeups", "Wakeup Causes", ""});
    reportCauses_i(report, length);
}

void Wakeups::reportCauses_i(emit::Report& report, std::uint64_t length) const {
    report.table("Wakeup Causes Summary: Counts", {"CPU", "Kind", "Cause", "Process", "PID", "Count",
                                                   "Rate (wakeups/s)", "Share (%)", "Idle Ended (usec)"});
    auto rows = m_counts;
    std::stable_sort(rows.begin(), rows.end(), [](const auto& one, const auto& other) {
        return one.second.count > other.second.count;
    });
    std::uint64_t all = 0;
    for (const auto& row : rows) all += row.second.count;
    for (const auto& [key, count] : rows) {
        const auto& [cpu, type, cause, causeLife, life] = key;
        report.row({cpuText(cpu), textOf_i(type),
                    causeLife != NOBODY ? m_processes.nameOf(causeLife) : m_names.text(cause),
                    life != NOBODY ? m_processes.nameOf(life) : "-",
                    life != NOBODY ? std::to_string(m_processes.pidOf(life)) : "-",
                    std::to_string(count.count), rateText(count.count, length), shareText(count.count, all),
                    usecText(static_cast<double>(count.idle) / static_cast<double>(count.count))});
    }
}

}  // namespace host::kernel_events
