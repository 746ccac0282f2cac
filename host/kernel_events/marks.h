#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/kernel_events/event.h"
#include "host/kernel_events/timeline.h"

namespace host::kernel_events {

// What programs write into a trace: begin and end of what they do, points of time, values. What is never
// ended is left out.
class Marks {
public:
    Marks(Timeline& timeline, const NamePool& names) : m_timeline(timeline), m_names(names) {}

    // Takes an event of one of the kinds MarkBegin to MarkCounter.
    void take(const Event& event);

private:
    struct Open {
        NameId name;
        std::uint64_t since;
        Timeline::Row row;
    };

    void end_i(const Open& open, std::uint64_t stamp);
    void counter_i(const Event& event);

    Timeline& m_timeline;
    const NamePool& m_names;
    std::unordered_map<std::int64_t, std::vector<Open>> m_threads;  // by pid, the innermost one last
    std::map<std::pair<NameId, std::int64_t>, Open> m_open;         // by name and cookie
};

}  // namespace host::kernel_events
