// What ends the stays of CPUs in idle.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "host/emit/report.h"
#include "host/kernel_events/event.h"
#include "host/kernel_events/idle_states.h"
#include "host/kernel_events/processes.h"

namespace host::kernel_events {

// Finds the cause of each wakeup: the first interrupt between entry and exit, where an interrupt is traced
// before the exit; else the first one after the exit; else who woke the thread that the CPU goes on with.
class Wakeups {
public:
    Wakeups(Processes& processes, NamePool& names) : m_processes(processes), m_names(names) {}

    // Takes an event that reports an interrupt.
    void takeInterrupt(const Event& event);

    // Takes a CpuIdle event, and the stay that it ends.
    void takeIdle(const Event& event, const std::optional<IdleStay>& stay);

    // Takes a SchedSwitch event, after `Processes`.
    void takeSwitch(const Event& event);

    // What was seen on the CPU so far leads to no cause any more.
    void forget(std::uint32_t cpu);

    void finish();

    // Writes the tables of a trace that lasted `length` ns.
    void report(emit::Report& report, emit::Id& container, std::uint64_t length) const;

private:
    enum class Type : std::uint8_t { Irq, Timer, Ipi, Task, Unknown };

    // The interrupts of some time.
    struct Window {
        Kind first = Kind::None;
        NameId handler = 0;
        NameId function = 0;  // the first one that does not just keep the tick
        NameId tick = 0;      // the first one that does
    };
    struct Cpu {
        bool isIdle = false;
        bool isWaiting = false;     // a wakeup waits for the thread that the CPU goes on with
        bool isCauseKnown = false;  // from before the exit
        Window window;
        IdleStay stay{};
    };

    static constexpr std::size_t NOBODY = ~std::size_t{0};

    // A cause is a text, or a life.
    using Key = std::tuple<std::uint32_t, Type, NameId, std::size_t, std::size_t>;
    struct Count {
        std::uint64_t count = 0;
        std::uint64_t idle = 0;  // ns that they ended
    };

    static const char* textOf_i(Type type);
    Cpu& cpu_i(std::uint32_t number);
    NameId timerOf_i(const Window& window);
    void resolve_i(Cpu& cpu, std::optional<std::size_t> next);
    void count_i(const Cpu& cpu, Type type, NameId cause, std::size_t causeLife, std::size_t life);
    void reportCauses_i(emit::Report& report, std::uint64_t length) const;

    Processes& m_processes;
    NamePool& m_names;
    std::vector<Cpu> m_cpus;
    std::map<Key, std::size_t> m_places;
    std::vector<std::pair<Key, Count>> m_counts;  // in the order in which they came about
};

}  // namespace host::kernel_events
