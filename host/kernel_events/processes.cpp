#include "host/kernel_events/processes.h"

#include <algorithm>

#include "host/kernel_events/table_text.h"

namespace host::kernel_events {

namespace {

// What a trace shows of a thread whose name it has not kept.
constexpr std::string_view NO_NAME = "<...>";

std::string infoPair(emit::Id attribute, emit::Id handle) {
    return "[" + std::to_string(attribute) + ",{\"h\":" + std::to_string(handle) + "}]";
}

}  // namespace

Processes::LifeId Processes::life_i(std::int64_t pid, NameId comm) {
    const auto [known, isNew] = m_living.try_emplace(pid, m_lives.size());
    if (isNew) {
        m_lives.emplace_back();
        m_lives.back().pid = pid;
    }
    Life& life = m_lives[known->second];
    if (isNew || (comm != life.comm && m_names.text(comm) != NO_NAME)) life.comm = comm;
    return known->second;
}

std::optional<Processes::LifeId> Processes::find(std::int64_t pid) {
    const auto known = m_living.find(pid);
    return known != m_living.end() ? std::optional(known->second) : std::nullopt;
}

void Processes::takeSwitch(const Event& event) {
    if (m_cpus.size() <= event.cpu) m_cpus.resize(event.cpu + 1);
    Cpu& cpu = m_cpus[event.cpu];
    cpu.isSeen = true;
    std::optional<LifeId> leaving;
    if (event.a != IDLE_PID) {
        leaving = life_i(event.a, event.name);
        m_lives[*leaving].isSeenRunning = true;
    }
    if (cpu.isKnown && cpu.pid == event.a) leave_i(cpu, event.cpu, event.stamp, event.subject);
    if (leaving && m_lives[*leaving].isExiting) endLife_i(*leaving, event.stamp);
    cpu.isKnown = true;
    cpu.pid = event.b;
    cpu.since = event.stamp;
    if (event.b == IDLE_PID) {
        ++m_idleSwitches;
        return;
    }
    cpu.life = life_i(event.b, event.other);
    m_lives[cpu.life].isSeenRunning = true;
    ++m_lives[cpu.life].switches;
}

void Processes::leave_i(Cpu& cpu, std::uint32_t number, std::uint64_t stamp, std::uint32_t process) {
    const std::uint64_t time = stamp - cpu.since;
    if (cpu.pid == IDLE_PID) {
        m_idleTime += time;
        return;
    }
    Life& life = m_lives[cpu.life];
    life.time += time;
    if (time == 0) return;
    defineHandles_i(life, process);
    if (!cpu.hasRow) cpu.row = m_timeline.cpu(Series::Process, number);
    cpu.hasRow = true;
    m_timeline.sample(cpu.row, stamp, time, m_names.value(life.comm), life.info);
}

void Processes::defineHandles_i(Life& life, std::uint32_t process) {
    if (life.thread != 0) return;
    emit::Definitions& define = m_timeline.define();
    if (m_processAttribute == 0) {
        m_processAttribute = define.attribute("Process", emit::AttributeType::Process);
        m_threadAttribute = define.attribute("Thread", emit::AttributeType::Thread);
    }
    const auto tid = static_cast<std::uint64_t>(life.pid);
    const std::uint64_t pid = process != 0 ? process : tid;
    const std::string& name = m_names.text(life.comm);
    emit::Id& handle = m_processes[static_cast<std::int64_t>(pid)];
    if (handle == 0) handle = define.process(pid, static_cast<std::uint64_t>(life.parent), name, life.start);
    life.process = handle;
    life.isLeader = pid == tid;
    life.thread = define.thread(tid, pid, name, life.start);
    life.info = infoPair(m_processAttribute, life.process) + "," + infoPair(m_threadAttribute, life.thread);
}

// A process ends with the thread that it is named after.
void Processes::endLife_i(LifeId id, std::uint64_t stamp) {
    const Life& life = m_lives[id];
    if (life.thread != 0) m_timeline.endOf(life.thread, stamp);
    if (life.thread != 0 && life.isLeader) {
        m_timeline.endOf(life.process, stamp);
        m_processes.erase(life.pid);
    }
    m_living.erase(life.pid);
}

void Processes::takeWaking(const Event& event) {
    if (event.kind == Kind::SchedWaking) m_hasWaking = true;
    if (event.kind == Kind::SchedWakeup && m_hasWaking) return;
    if (event.a == IDLE_PID) return;
    Waking waking{.place = event.place, .isKnown = true, .cpu = event.cpu, .waker = std::nullopt};
    if (event.pid != IDLE_PID) waking.waker = life_i(event.pid, event.comm);
    m_lives[life_i(event.a, event.name)].waking = waking;
}

void Processes::takeExec(const Event& event) {
    life_i(event.a, event.name);
}

void Processes::takeFork(const Event& event) {
    if (const auto former = find(event.b)) endLife_i(*former, event.stamp);
    Life& child = m_lives[life_i(event.b, event.name)];
    child.parent = event.a;
    child.start = event.stamp;
}

void Processes::takeExit(const Event& event) {
    m_lives[life_i(event.a, event.name)].isExiting = true;
}

void Processes::forget(std::uint32_t cpu) {
    if (cpu < m_cpus.size()) m_cpus[cpu].isKnown = false;
}

void Processes::finish(std::uint64_t stop) {
    for (std::uint32_t number = 0; number < m_cpus.size(); ++number) {
        Cpu& cpu = m_cpus[number];
        if (cpu.isKnown) leave_i(cpu, number, stop, 0);
        cpu.isKnown = false;
    }
}

void Processes::report(emit::Report& report, emit::Id& container, std::uint64_t length) const {
    const auto cpus = std::count_if(m_cpus.begin(), m_cpus.end(), [](const Cpu& cpu) { return cpu.isSeen; });
    std::vector<const Life*> rows;
    std::uint64_t attributed = m_idleTime;
    for (const Life& life : m_lives) {
        attributed += life.time;
        if (life.isSeenRunning || life.wakeups > 0) rows.push_back(&life);
    }
    if (rows.empty() && cpus == 0) return;
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Life* one, const Life* other) { return one->time > other->time; });
    const std::uint64_t all = static_cast<std::uint64_t>(cpus) * length;
    report.chapter({container++, "processes", "Processes", ""});
    report.table("Processes Summary: Counts",
                 {"PID", "Process", "CPU Time (msec)", "Share (%)", "Wakeups", "Switches"});
    for (const Life* life : rows)
        report.row({std::to_string(life->pid), m_names.text(life->comm), msecText(life->time, 3),
                    shareText(life->time, all), std::to_string(life->wakeups),
                    std::to_string(life->switches)});
    const std::uint64_t rest = all - std::min(all, attributed);
    report.row({"-", "idle", msecText(m_idleTime, 3), shareText(m_idleTime, all), "0",
                std::to_string(m_idleSwitches)});
    report.row({"-", "not attributed", msecText(rest, 3), shareText(rest, all), "0", "0"});
}

}  // namespace host::kernel_events
