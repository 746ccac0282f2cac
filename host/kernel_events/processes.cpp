#include "host/kernel_events/processes.h"

#include <algorithm>

#include "host/kernel_events/table_text.h"

namespace host::kernel_events {

namespace {

// What a trace shows of a thread whose name it has not kept.
constexpr std::string_view NO_NAME = "<...>";

const std::string RECORDER = "pwrhost (this recording)";

// Who has shares of energy: the idle thread, and after it the lives.
constexpr std::size_t IDLE_SHARE = 0;

constexpr std::size_t shareOf(std::size_t life) {
    return life + 1;
}

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

const std::string& Processes::nameOf(LifeId id) const {
    const Life& life = m_lives[id];
    return m_recorder == life.pid ? RECORDER : m_names.text(life.comm);
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
    // One that is preempted on its way out comes back once more.
    if (leaving && m_lives[*leaving].isExiting && !event.isRunnable) endLife_i(*leaving, event.stamp);
    cpu.isKnown = true;
    cpu.pid = event.b;
    cpu.since = event.stamp;
    cpu.energy = 0;
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
    m_energy.give(cpu.pid == IDLE_PID ? IDLE_SHARE : shareOf(cpu.life), cpu.energy,
                  m_energy.open(cpu.since, stamp));
    if (cpu.pid == IDLE_PID) {
        m_idleTime += time;
        return;
    }
    Life& life = m_lives[cpu.life];
    life.time += time;
    if (time == 0 || !m_timeline.wants(Series::Process)) return;
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

// Whose time it is, the next switch gives.
void Processes::takeEnergy(const Event& event) {
    for (Cpu& cpu : m_cpus)
        if (cpu.isKnown)
            cpu.energy += m_energy.share(m_energy.open(cpu.since, event.stamp), event.stamp, event.a);
    m_energy.end(event.stamp, event.a);
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
    const auto cpus = static_cast<std::uint64_t>(
        std::count_if(m_cpus.begin(), m_cpus.end(), [](const Cpu& cpu) { return cpu.isSeen; }));
    std::vector<LifeId> lives;
    std::uint64_t attributed = m_idleTime;
    for (LifeId id = 0; id < m_lives.size(); ++id) {
        attributed += m_lives[id].time;
        if (m_lives[id].isSeenRunning || m_lives[id].wakeups > 0) lives.push_back(id);
    }
    if (lives.empty() && cpus == 0) return;
    std::stable_sort(lives.begin(), lives.end(),
                     [&](LifeId one, LifeId other) { return m_lives[one].time > m_lives[other].time; });
    const std::uint64_t all = cpus * length;
    std::vector<std::vector<std::string>> rows;
    for (const LifeId id : lives) {
        const Life& life = m_lives[id];
        rows.push_back({std::to_string(life.pid), nameOf(id), msecText(life.time, 3),
                        shareText(life.time, all), std::to_string(life.wakeups),
                        std::to_string(life.switches)});
    }
    const std::uint64_t rest = all - std::min(all, attributed);
    rows.push_back({"-", "idle", msecText(m_idleTime, 3), shareText(m_idleTime, all), "0",
                    std::to_string(m_idleSwitches)});
    rows.push_back({"-", "not attributed", msecText(rest, 3), shareText(rest, all), "0", "0"});
    std::vector<std::string> columns{"PID", "Process", "CPU Time (msec)", "Share (%)", "Wakeups", "Switches"};
    if (m_energy.isMeasured()) {
        columns.emplace_back("Energy (mJ)");
        addEnergyCells_i(rows, lives, cpus);
    }
    report.section({container++, "processes", "Processes", ""});
    report.table("Processes Summary: Counts", columns);
    for (const auto& row : rows) report.row(row);
}

// The rows are those of the lives, of idle and of what is not attributed.
void Processes::addEnergyCells_i(std::vector<std::vector<std::string>>& rows,
                                 const std::vector<LifeId>& lives, std::size_t cpus) const {
    const auto cell = [](double microjoules) { return base::fixedText(microjoules / 1000.0, 3); };
    double rest = m_energy.total();
    for (std::size_t i = 0; i <= lives.size(); ++i) {
        const std::size_t who = i < lives.size() ? shareOf(lives[i]) : IDLE_SHARE;
        const double energy = cpus > 0 ? m_energy.of(who) / static_cast<double>(cpus) : 0.0;
        rest -= energy;
        rows[i].push_back(cell(energy));
    }
    rows.back().push_back(cell(std::max(rest, 0.0)));
}

}  // namespace host::kernel_events
