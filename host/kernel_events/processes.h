// Which threads ran on which CPU, and for how long.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/emit/report.h"
#include "host/kernel_events/energy_shares.h"
#include "host/kernel_events/event.h"
#include "host/kernel_events/timeline.h"

namespace host::kernel_events {

// Who woke a thread last.
struct Waking {
    std::uint64_t place = 0;  // of the event among all; only one after another is compared
    bool isKnown = false;
    std::uint32_t cpu = 0;             // on which it was woken from
    std::optional<std::size_t> waker;  // a life; nothing if it was an interrupt in idle
};

// Threads by their lives: a number that is used again is another thread.
class Processes {
public:
    using LifeId = std::size_t;

    Processes(Timeline& timeline, NamePool& names) : m_timeline(timeline), m_names(names) {}

    void takeSwitch(const Event& event);
    void takeWaking(const Event& event);
    void takeExec(const Event& event);
    void takeFork(const Event& event);
    void takeExit(const Event& event);
    void takeEnergy(const Event& event);

    // What is told of this process is told of the recorder.
    void setRecorder(std::int64_t pid) { m_recorder = pid; }

    // SchedWaking is in the trace, so that SchedWakeup says nothing new.
    void expectWaking() { m_hasWaking = true; }

    // Who ran on the CPU is not known any more.
    void forget(std::uint32_t cpu);

    void finish(std::uint64_t stop);

    // The thread with this number; nothing for the idle one.
    std::optional<LifeId> find(std::int64_t pid);
    const Waking& lastWaking(LifeId life) const { return m_lives[life].waking; }

    // Counts a wakeup that the thread caused.
    void countWakeup(LifeId life) { ++m_lives[life].wakeups; }

    const std::string& nameOf(LifeId life) const;
    std::int64_t pidOf(LifeId life) const { return m_lives[life].pid; }

    // Writes the table of a trace that lasted `length` ns.
    void report(emit::Report& report, emit::Id& container, std::uint64_t length) const;

private:
    struct Life {
        std::int64_t pid = 0;
        NameId comm = 0;
        std::int64_t parent = 0;
        std::uint64_t start = 0;  // stamp of its fork; 0: not known
        bool isExiting = false;
        bool isLeader = false;  // the thread that its process is named after
        bool isSeenRunning = false;
        std::uint64_t time = 0;  // ns
        std::uint64_t switches = 0;
        std::uint64_t wakeups = 0;
        Waking waking;
        emit::Id process = 0;  // handles, once they are needed
        emit::Id thread = 0;
        std::string info;  // of its samples
    };
    struct Cpu {
        bool isSeen = false;
        bool isKnown = false;
        std::int64_t pid = 0;
        LifeId life = 0;  // of a pid that is not the idle one
        std::uint64_t since = 0;
        double energy = 0;  // share of the intervals since then that have ended
        Timeline::Row row = 0;
        bool hasRow = false;
    };

    LifeId life_i(std::int64_t pid, NameId comm);
    void leave_i(Cpu& cpu, std::uint32_t number, std::uint64_t stamp, std::uint32_t process);
    void defineHandles_i(Life& life, std::uint32_t process);
    void endLife_i(LifeId life, std::uint64_t stamp);
    void addEnergyCells_i(std::vector<std::vector<std::string>>& rows, const std::vector<LifeId>& lives,
                          std::size_t cpus) const;

    Timeline& m_timeline;
    NamePool& m_names;
    std::vector<Life> m_lives;
    std::unordered_map<std::int64_t, LifeId> m_living;       // by pid
    std::unordered_map<std::int64_t, emit::Id> m_processes;  // handles, by pid
    std::vector<Cpu> m_cpus;
    emit::Id m_processAttribute = 0;
    emit::Id m_threadAttribute = 0;
    std::uint64_t m_idleTime = 0;
    std::uint64_t m_idleSwitches = 0;
    bool m_hasWaking = false;
    std::optional<std::int64_t> m_recorder;  // its process
    EnergyShares m_energy;
};

}  // namespace host::kernel_events
