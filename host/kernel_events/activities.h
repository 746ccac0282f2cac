#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "host/emit/report.h"
#include "host/kernel_events/event.h"
#include "host/kernel_events/timeline.h"

namespace host::kernel_events {

// What keeps the machine awake, and the steps in which it suspends and resumes: each from one event to
// another.
class Activities {
public:
    Activities(Timeline& timeline, NamePool& names) : m_timeline(timeline), m_names(names) {}

    // Takes an event of the kinds SourceActivate, SourceDeactivate and SuspendResume.
    void take(const Event& event);

    // Takes the time of the last event: what is open counts up to it.
    void finish(std::uint64_t stop);

    // Writes the tables, of which the most time comes first.
    void report(emit::Report& report) const;

private:
    struct Activity {
        Timeline::Row row = 0;
        std::optional<std::uint64_t> since;
        std::uint64_t count = 0;
        std::uint64_t time = 0;  // ns
        std::uint64_t longest = 0;
    };
    using Key = std::pair<NameId, std::int64_t>;  // name, and a step's value
    using Known = std::map<Key, Activity>;

    static void end_i(Activity& activity, std::uint64_t stamp);
    static std::vector<const Known::value_type*> byTime_i(const Known& activities);
    void reportSources_i(emit::Report& report) const;
    void reportSteps_i(emit::Report& report) const;

    Timeline& m_timeline;
    NamePool& m_names;
    Known m_sources;
    Known m_steps;
};

}  // namespace host::kernel_events
