#include "host/record/trace/trace_sets.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "host/base/text.h"

namespace host::record {

namespace {

std::string setNames() {
    std::string names;
    for (const TraceSet& set : traceSets()) names += (names.empty() ? "" : ", ") + std::string(set.name);
    return names;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& letter : lower) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return lower;
}

}  // namespace

const std::vector<TraceSet>& traceSets() {
    static const std::vector<TraceSet> sets{
        {"idle", {{"power", "cpu_idle"}}},
        {"freq", {{"power", "cpu_frequency"}, {"power", "cpu_frequency_limits"}}},
        {"wakeups",
         {{"power", "cpu_idle"},
          {"irq", "irq_handler_entry"},
          {"timer", "hrtimer_expire_entry"},
          {"timer", "timer_expire_entry"},
          {"irq_vectors", "local_timer_entry"},
          {"irq_vectors", "reschedule_entry"},
          {"irq_vectors", "call_function_entry"},
          {"irq_vectors", "call_function_single_entry"},
          {"sched", "sched_switch"},
          {"sched", "sched_waking"},
          {"sched", "sched_wakeup_new"}}},
        {"procs",
         {{"sched", "sched_switch"},
          {"sched", "sched_process_exec"},
          {"sched", "sched_process_fork"},
          {"sched", "sched_process_exit"}}},
        {WAKEUP_SOURCES,
         {{"power", "wakeup_source_activate"},
          {"power", "wakeup_source_deactivate"},
          {"power", "suspend_resume"}}},
        {MARKS, {}},
    };
    return sets;
}

bool TraceOptions::has(const std::string& set) const {
    return std::find(sets.begin(), sets.end(), set) != sets.end();
}

std::string TraceOptions::setSets(const std::string& list) {
    sets.clear();
    std::string_view left = list;
    for (;;) {
        const std::size_t comma = left.find(',');
        const std::string name = lowerCase(base::trimmed(left.substr(0, comma)));
        const auto& known = traceSets();
        if (std::none_of(known.begin(), known.end(), [&](const TraceSet& set) { return name == set.name; }))
            return "unknown set of events \"" + name + "\"; there are: " + setNames();
        if (!has(name)) sets.push_back(name);
        if (comma == std::string_view::npos) return {};
        left.remove_prefix(comma + 1);
    }
}

std::vector<TraceEvent> TraceOptions::events() const {
    std::vector<TraceEvent> events;
    for (const TraceSet& set : traceSets()) {
        if (!has(set.name)) continue;
        for (const TraceEvent& event : set.events)
            if (std::none_of(events.begin(), events.end(),
                             [&](const TraceEvent& known) { return known.text() == event.text(); }))
                events.push_back(event);
    }
    return events;
}

}  // namespace host::record
