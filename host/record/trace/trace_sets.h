// Sets of kernel events that a user chooses by name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host::record {

struct TraceEvent {
    const char* group;
    const char* name;

    std::string text() const { return std::string(group) + ":" + name; }
};

struct TraceSet {
    const char* name;
    std::vector<TraceEvent> events;
};

// Programs' marks are no events that can be counted: they are read from the kernel's own buffer of them.
inline constexpr const char* MARKS = "marks";
inline constexpr const char* WAKEUP_SOURCES = "sources";

const std::vector<TraceSet>& traceSets();

// What the user asks of the trace that goes on beside the samples.
struct TraceOptions {
    std::vector<std::string> sets;   // empty: there is none
    bool isSummary = false;          // tables only
    std::uint64_t bufferKib = 4096;  // for each CPU

    bool isWanted() const { return !sets.empty(); }
    bool has(const std::string& set) const;

    // Takes names of sets with commas between, blanks and any case allowed. Returns why it refuses, empty if
    // it does not.
    std::string setSets(const std::string& list);

    // The events of the sets, each once.
    std::vector<TraceEvent> events() const;
};

}  // namespace host::record
