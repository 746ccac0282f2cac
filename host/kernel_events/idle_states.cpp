#include "host/kernel_events/idle_states.h"

#include <algorithm>
#include <set>
#include <utility>

#include "host/base/text.h"
#include "host/emit/residency_table.h"
#include "host/kernel_events/table_text.h"

namespace host::kernel_events {

IdleStates::IdleStates(Timeline& timeline, NamePool& names, std::vector<IdleState> states)
    : m_timeline(timeline), m_names(names), m_states(std::move(states)) {}

std::string IdleStates::nameOf_i(std::int64_t state) const {
    if (state == ACTIVE) return "active";
    const auto index = static_cast<std::size_t>(state);
    if (index < m_states.size() && !m_states[index].name.empty()) return m_states[index].name;
    return "state" + std::to_string(state);
}

IdleStates::Cpu& IdleStates::cpu_i(const Event& event) {
    if (m_cpus.size() <= event.subject) m_cpus.resize(event.subject + 1);
    Cpu& cpu = m_cpus[event.subject];
    if (!cpu.isSeen) {
        cpu.isSeen = true;
        cpu.first = event.stamp;
        cpu.row = m_timeline.cpu(Series::IdleState, event.subject);
    }
    return cpu;
}

void IdleStates::account_i(Cpu& cpu, std::uint64_t stamp) {
    if (cpu.state != NOT_KNOWN) cpu.ticks[cpu.state] += stamp - cpu.since;
}

std::optional<IdleStay> IdleStates::end_i(Cpu& cpu, const Event& event) {
    if (cpu.state < 0) return std::nullopt;
    const std::uint64_t length = event.stamp - cpu.since;
    Stays& stays = cpu.stays[cpu.state];
    stays.shortest = stays.count == 0 ? length : std::min(stays.shortest, length);
    stays.time += length;
    ++stays.count;
    const auto index = static_cast<std::size_t>(cpu.state);
    if (index < m_states.size() && length < m_states[index].targetUsec.value_or(0) * 1000) ++stays.tooShort;
    return IdleStay{event.subject, length, cpu.beganAt, event.a == IDLE_EXIT};
}

std::optional<IdleStay> IdleStates::take(const Event& event) {
    Cpu& cpu = cpu_i(event);
    const std::int64_t next = event.a == IDLE_EXIT ? ACTIVE : event.a;
    if (next == ACTIVE && cpu.state == ACTIVE) return std::nullopt;
    const std::optional<IdleStay> stay = end_i(cpu, event);
    account_i(cpu, event.stamp);
    NameId& name = m_nameIds[next];
    if (name == 0) name = m_names.get(nameOf_i(next));
    m_timeline.enter(cpu.row, event.stamp, m_names.value(name));
    cpu.state = next;
    cpu.since = event.stamp;
    cpu.beganAt = event.place;
    return stay;
}

void IdleStates::forget(std::uint32_t cpu) {
    if (m_cpus.size() <= cpu || !m_cpus[cpu].isSeen) return;
    m_cpus[cpu].state = NOT_KNOWN;
    m_timeline.forget(m_cpus[cpu].row);
}

void IdleStates::finish(std::uint64_t stop) {
    m_stop = stop;
    for (Cpu& cpu : m_cpus) {
        account_i(cpu, stop);
        cpu.since = stop;
    }
}

std::vector<std::string> IdleStates::cells_i(std::uint32_t number, std::int64_t state,
                                             const Stays& stays) const {
    const Cpu& cpu = m_cpus[number];
    const auto index = static_cast<std::size_t>(state);
    const bool hasTarget = index < m_states.size() && m_states[index].targetUsec.has_value();
    const auto count = static_cast<double>(stays.count);
    std::vector<std::string> cells{cpuText(number),
                                   nameOf_i(state),
                                   std::to_string(stays.count),
                                   msecText(stays.time, 2),
                                   shareText(stays.time, m_stop - cpu.first),
                                   usecText(static_cast<double>(stays.time) / count),
                                   usecText(static_cast<double>(stays.shortest))};
    if (hasTarget) {
        cells.insert(cells.end(), {std::to_string(*m_states[index].targetUsec),
                                   std::to_string(stays.tooShort), shareText(stays.tooShort, stays.count)});
    } else {
        cells.insert(cells.end(), 3, "-");
    }
    return cells;
}

void IdleStates::reportResidency_i(emit::Report& report) const {
    std::set<std::int64_t> states;
    for (const Cpu& cpu : m_cpus)
        for (const auto& [state, ticks] : cpu.ticks) states.insert(state);
    std::vector<std::string> names;
    for (const std::int64_t state : states) names.push_back(nameOf_i(state));
    std::vector<emit::ResidencyRow> rows;
    for (std::uint32_t number = 0; number < m_cpus.size(); ++number) {
        emit::ResidencyRow row{cpuText(number), {}, 0};
        for (const std::int64_t state : states) {
            const auto found = m_cpus[number].ticks.find(state);
            row.ticks.push_back(found != m_cpus[number].ticks.end() ? found->second : 0);
            row.observed += row.ticks.back();
        }
        rows.push_back(std::move(row));
    }
    emit::writeResidencyTable(report, "CPU Idle State", "CPU", names, rows, TICKS_PER_USEC, false);
}

void IdleStates::report(emit::Report& report, emit::Id& container) const {
    if (m_cpus.empty()) return;
    report.chapter({m_timeline.metric(Series::IdleState), "idle", "CPU Idle State", ""});
    reportResidency_i(report);
    report.chapter({container++, "idle", "Idle Quality", ""});
    report.table("Idle Quality Summary: Counts",
                 {"CPU", "State", "Entries", "Time (msec)", "Share (%)", "Mean (usec)", "Shortest (usec)",
                  "Target (usec)", "Too Short", "Too Short (%)"});
    for (std::uint32_t number = 0; number < m_cpus.size(); ++number)
        for (const auto& [state, stays] : m_cpus[number].stays) report.row(cells_i(number, state, stays));
}

}  // namespace host::kernel_events
