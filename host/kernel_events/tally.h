#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/emit/report.h"
#include "host/kernel_events/event.h"

namespace host::kernel_events {

// What became of the lines or records of a trace, and which events were among them.
class Tally {
public:
    struct EventCount {
        std::string name;
        std::uint64_t mapped = 0;
        std::uint64_t unknown = 0;
    };

    std::uint64_t lines = 0;
    std::uint64_t malformed = 0;
    std::uint64_t others = 0;

    // Counts an event of this name, in a place that `place` finds again.
    std::size_t place(std::string_view name);
    void countMapped(std::size_t place) { ++m_mapped, ++m_events[place].mapped; }
    void countUnknown(std::size_t place) { ++m_unknown, ++m_events[place].unknown; }

    // Notes when and where an event was traced, in the order of the trace.
    void see(std::uint64_t stamp, std::uint32_t cpu);

    // Counts events that are missing on a CPU.
    void lose(std::uint32_t cpu, std::uint64_t count);

    // Notes that the trace is of CPUs below this number.
    void expectCpus(std::uint32_t count);

    std::uint64_t events() const { return m_mapped + m_unknown; }
    std::uint64_t start() const { return m_start; }
    std::uint64_t stop() const { return m_stop; }
    std::uint32_t cpus() const;  // one more than the highest number

    // "N lines: M mapped, ...". `what` is counted: "lines" or "records".
    std::string text(std::string_view what) const;

    void report(emit::Report& report, emit::Id& container) const;

private:
    std::vector<std::uint32_t> silent_i() const;
    void reportEvents_i(emit::Report& report) const;

    std::unordered_map<std::string, std::size_t> m_places;
    std::vector<EventCount> m_events;
    std::uint64_t m_mapped = 0;
    std::uint64_t m_unknown = 0;
    std::uint64_t m_lost = 0;
    std::map<std::uint32_t, std::uint64_t> m_losses;  // by CPU
    std::uint64_t m_outOfOrder = 0;
    std::uint64_t m_start = 0;
    std::uint64_t m_stop = 0;
    bool m_isBegun = false;
    std::uint32_t m_expected = 0;
    std::vector<bool> m_seen;  // CPUs
};

}  // namespace host::kernel_events
