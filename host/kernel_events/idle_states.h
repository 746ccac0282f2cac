// In which idle states CPUs were, and for how long.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/emit/report.h"
#include "host/kernel_events/event.h"
#include "host/kernel_events/timeline.h"

namespace host::kernel_events {

// What is known of an idle state, by its number.
struct IdleState {
    std::string name;
    std::optional<std::uint64_t> targetUsec;  // a shorter stay costs more than it saves
};

// A stay that has ended.
struct IdleStay {
    std::uint32_t cpu;
    std::uint64_t length;   // ns
    std::uint64_t beganAt;  // place of its entry among the events
    bool isEndedByWakeup;   // else another state followed
};

class IdleStates {
public:
    // `states` are those of the machine's idle driver, if they are known, of all CPUs that have none of
    // their own.
    IdleStates(Timeline& timeline, NamePool& names, std::vector<IdleState> states);

    // Gives a CPU states of its own; to be called before its first event.
    void setStates(std::uint32_t cpu, std::vector<IdleState> states);

    // Takes a CpuIdle event; returns the stay that it ends.
    std::optional<IdleStay> take(const Event& event);

    // What the CPU was in is not known any more.
    void forget(std::uint32_t cpu);

    // Takes the time of the last event. To be called before the timeline's own finish.
    void finish(std::uint64_t stop);

    // Writes the tables; sections without a metric get the ids from `container` on.
    void report(emit::Report& report, emit::Id& container) const;

private:
    static constexpr std::int64_t ACTIVE = -1;  // as the number of a state

    // A state, as far as a CPU was in it.
    struct State {
        IdleState info;
        NameId name = 0;
        std::uint64_t ticks = 0;  // also of what is not finished
        // Of finished stays:
        std::uint64_t count = 0;
        std::uint64_t time = 0;
        std::uint64_t shortest = 0;
        std::uint64_t tooShort = 0;
    };
    struct Cpu {
        std::uint64_t first = 0;  // stamp of the first event
        bool isSeen = false;
        State* state = nullptr;  // that it is in; null: not known
        bool isActive = false;
        std::uint64_t since = 0;
        std::uint64_t beganAt = 0;
        std::map<std::int64_t, State> states;  // by number
        Timeline::Row row = 0;
    };

    Cpu& cpu_i(const Event& event);
    static void account_i(Cpu& cpu, std::uint64_t stamp);
    static std::optional<IdleStay> end_i(Cpu& cpu, const Event& event);
    IdleState infoOf_i(std::uint32_t cpu, std::int64_t number) const;
    State& state_i(Cpu& cpu, std::uint32_t number, std::int64_t state);
    std::vector<std::string> cells_i(std::uint32_t number, const State& state) const;
    void reportResidency_i(emit::Report& report) const;

    Timeline& m_timeline;
    NamePool& m_names;
    std::vector<IdleState> m_states;
    std::map<std::uint32_t, std::vector<IdleState>> m_own;  // by CPU
    std::deque<Cpu> m_cpus;  // where they are they stay: each points to the state that it is in
    std::uint64_t m_stop = 0;
};

}  // namespace host::kernel_events
