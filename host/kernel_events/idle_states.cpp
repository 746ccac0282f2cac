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

void IdleStates::setStates(std::uint32_t cpu, std::vector<IdleState> states) {
    m_own.insert_or_assign(cpu, std::move(states));
}

IdleState IdleStates::infoOf_i(std::uint32_t cpu, std::int64_t number) const {
    if (number == ACTIVE) return {"active", {}};
    const auto own = m_own.find(cpu);
    const std::vector<IdleState>& states = own != m_own.end() ? own->second : m_states;
    const auto index = static_cast<std::size_t>(number);
    IdleState info = index < states.size() ? states[index] : IdleState();
    if (info.name.empty()) info.name = "state" + std::to_string(number);
    return info;
}

IdleStates::State& IdleStates::state_i(Cpu& cpu, std::uint32_t number, std::int64_t state) {
    const auto [known, isNew] = cpu.states.try_emplace(state);
    if (isNew) {
        known->second.info = infoOf_i(number, state);
        known->second.name = m_names.get(known->second.info.name);
    }
    return known->second;
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
    if (cpu.state != nullptr) cpu.state->ticks += stamp - cpu.since;
}

std::optional<IdleStay> IdleStates::end_i(Cpu& cpu, const Event& event) {
    if (cpu.state == nullptr || cpu.isActive) return std::nullopt;
    const std::uint64_t length = event.stamp - cpu.since;
    State& state = *cpu.state;
    state.shortest = state.count == 0 ? length : std::min(state.shortest, length);
    state.time += length;
    ++state.count;
    if (length < state.info.targetUsec.value_or(0) * 1000) ++state.tooShort;
    return IdleStay{event.subject, length, cpu.beganAt, event.a == IDLE_EXIT};
}

std::optional<IdleStay> IdleStates::take(const Event& event) {
    Cpu& cpu = cpu_i(event);
    const bool isActive = event.a == IDLE_EXIT;
    if (isActive && cpu.state != nullptr && cpu.isActive) return std::nullopt;
    const std::optional<IdleStay> stay = end_i(cpu, event);
    account_i(cpu, event.stamp);
    cpu.state = &state_i(cpu, event.subject, isActive ? ACTIVE : event.a);
    cpu.isActive = isActive;
    m_timeline.enter(cpu.row, event.stamp, m_names.value(cpu.state->name));
    cpu.since = event.stamp;
    cpu.beganAt = event.place;
    return stay;
}

void IdleStates::forget(std::uint32_t cpu) {
    if (m_cpus.size() <= cpu || !m_cpus[cpu].isSeen) return;
    m_cpus[cpu].state = nullptr;
    m_timeline.forget(m_cpus[cpu].row);
}

void IdleStates::finish(std::uint64_t stop) {
    m_stop = stop;
    for (Cpu& cpu : m_cpus) {
        account_i(cpu, stop);
        cpu.since = stop;
    }
}

std::vector<std::string> IdleStates::cells_i(std::uint32_t number, const State& state) const {
    std::vector<std::string> cells{
        cpuText(number),
        state.info.name,
        std::to_string(state.count),
        msecText(state.time, 2),
        shareText(state.time, m_stop - m_cpus[number].first),
        usecText(static_cast<double>(state.time) / static_cast<double>(state.count)),
        usecText(static_cast<double>(state.shortest))};
    if (state.info.targetUsec) {
        cells.insert(cells.end(), {std::to_string(*state.info.targetUsec), std::to_string(state.tooShort),
                                   shareText(state.tooShort, state.count)});
    } else {
        cells.insert(cells.end(), 3, "-");
    }
    return cells;
}

// States of one name are one column, also where they are not the same state of all CPUs.
void IdleStates::reportResidency_i(emit::Report& report) const {
    std::set<std::pair<std::int64_t, std::string>> states;
    for (const Cpu& cpu : m_cpus)
        for (const auto& [number, state] : cpu.states) states.emplace(number, state.info.name);
    std::vector<std::string> names;
    for (const auto& state : states)
        if (std::find(names.begin(), names.end(), state.second) == names.end()) names.push_back(state.second);
    std::vector<emit::ResidencyRow> rows;
    for (std::uint32_t number = 0; number < m_cpus.size(); ++number) {
        emit::ResidencyRow row{cpuText(number), std::vector<std::uint64_t>(names.size()), 0};
        for (const auto& known : m_cpus[number].states) {
            const State& state = known.second;
            const auto column = std::find(names.begin(), names.end(), state.info.name) - names.begin();
            row.ticks[static_cast<std::size_t>(column)] += state.ticks;
            row.observed += state.ticks;
        }
        rows.push_back(std::move(row));
    }
    emit::writeResidencyTable(report, "CPU Idle State", "CPU", names, rows, TICKS_PER_USEC, false);
}

void IdleStates::report(emit::Report& report, emit::Id& container) const {
    if (m_cpus.empty()) return;
    report.section({m_timeline.metric(Series::IdleState), "idle", "CPU Idle State", ""});
    reportResidency_i(report);
    report.section({container++, "idle", "Idle Quality", ""});
    report.table("Idle Quality Summary: Counts",
                 {"CPU", "State", "Entries", "Time (msec)", "Share (%)", "Mean (usec)", "Shortest (usec)",
                  "Target (usec)", "Too Short", "Too Short (%)"});
    for (std::uint32_t number = 0; number < m_cpus.size(); ++number)
        for (const auto& known : m_cpus[number].states)
            if (known.second.count > 0) report.row(cells_i(number, known.second));
}

}  // namespace host::kernel_events
