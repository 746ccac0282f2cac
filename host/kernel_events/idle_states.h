// In which idle states CPUs were, and for how long.
#pragma once

#include <cstdint>
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
    // `states` are those of the machine's idle driver, if they are known.
    IdleStates(Timeline& timeline, NamePool& names, std::vector<IdleState> states);

    // Takes a CpuIdle event; returns the stay that it ends.
    std::optional<IdleStay> take(const Event& event);

    // What the CPU was in is not known any more.
    void forget(std::uint32_t cpu);

    // Takes the time of the last event. To be called before the timeline's own finish.
    void finish(std::uint64_t stop);

    // Writes the tables; chapters without a metric get the ids from `container` on.
    void report(emit::Report& report, emit::Id& container) const;

private:
    static constexpr std::int64_t NOT_KNOWN = -2;
    static constexpr std::int64_t ACTIVE = -1;

    struct Stays {
        std::uint64_t count = 0;
        std::uint64_t time = 0;
        std::uint64_t shortest = 0;
        std::uint64_t tooShort = 0;
    };
    struct Cpu {
        std::uint64_t first = 0;  // stamp of the first event
        bool isSeen = false;
        std::int64_t state = NOT_KNOWN;
        std::uint64_t since = 0;
        std::uint64_t beganAt = 0;
        std::map<std::int64_t, std::uint64_t> ticks;  // in each state, also of what is not finished
        std::map<std::int64_t, Stays> stays;          // of finished stays
        Timeline::Row row = 0;
    };

    Cpu& cpu_i(const Event& event);
    void account_i(Cpu& cpu, std::uint64_t stamp);
    std::optional<IdleStay> end_i(Cpu& cpu, const Event& event);
    std::string nameOf_i(std::int64_t state) const;
    std::vector<std::string> cells_i(std::uint32_t number, std::int64_t state, const Stays& stays) const;
    void reportResidency_i(emit::Report& report) const;

    Timeline& m_timeline;
    NamePool& m_names;
    std::vector<IdleState> m_states;
    std::vector<Cpu> m_cpus;
    std::map<std::int64_t, NameId> m_nameIds;
    std::uint64_t m_stop = 0;
};

}  // namespace host::kernel_events
