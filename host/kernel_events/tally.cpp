#include "host/kernel_events/tally.h"

#include <algorithm>

#include "host/kernel_events/table_text.h"

namespace host::kernel_events {

std::size_t Tally::place(std::string_view name) {
    const auto [known, isNew] = m_places.try_emplace(std::string(name), m_events.size());
    if (isNew) m_events.push_back({.name = std::string(name)});
    return known->second;
}

void Tally::see(std::uint64_t stamp, std::uint32_t cpu) {
    if (!m_isBegun) m_start = m_stop = stamp;
    m_isBegun = true;
    if (stamp < m_stop) ++m_outOfOrder;
    m_start = std::min(m_start, stamp);
    m_stop = std::max(m_stop, stamp);
    if (m_seen.size() <= cpu) m_seen.resize(cpu + 1);
    m_seen[cpu] = true;
}

void Tally::lose(std::uint32_t cpu, std::uint64_t count) {
    m_lost += count;
    m_losses[cpu] += count;
}

void Tally::expectCpus(std::uint32_t count) {
    m_expected = std::max(m_expected, std::min(count, MOST_CPUS));
}

std::uint32_t Tally::cpus() const {
    return std::max(m_expected, static_cast<std::uint32_t>(m_seen.size()));
}

std::vector<std::uint32_t> Tally::silent_i() const {
    std::vector<std::uint32_t> numbers;
    for (std::uint32_t cpu = 0; cpu < m_expected; ++cpu)
        if (cpu >= m_seen.size() || !m_seen[cpu]) numbers.push_back(cpu);
    return numbers;
}

std::string Tally::text(std::string_view what) const {
    return std::to_string(lines) + " " + std::string(what) + ": " + std::to_string(m_mapped) + " mapped, " +
           std::to_string(m_unknown) + " unknown, " + std::to_string(malformed) + " malformed, " +
           std::to_string(others) + " other, " + std::to_string(m_lost) + " lost";
}

void Tally::report(emit::Report& report, emit::Id& container) const {
    const std::vector<std::uint32_t> silent = silent_i();
    report.section({container++, "trace", "Trace", ""});
    report.table("Trace Summary: Total", {"Item", "Total"});
    const std::pair<const char*, std::uint64_t> items[] = {{"Lines", lines},
                                                           {"Mapped", m_mapped},
                                                           {"Unknown", m_unknown},
                                                           {"Malformed", malformed},
                                                           {"Other", others},
                                                           {"Lost", m_lost},
                                                           {"Out of order", m_outOfOrder},
                                                           {"Silent CPUs", silent.size()}};
    for (const auto& [item, total] : items) report.row({item, std::to_string(total)});
    report.section({container++, "trace", "Trace Events", ""});
    reportEvents_i(report);
    if (!silent.empty()) {
        std::string text = "Silent CPUs:";
        for (const std::uint32_t cpu : silent) text += " " + cpuText(cpu);
        report.note(text);
    }
    for (const auto& [cpu, count] : m_losses)
        report.note("Lost on " + cpuText(cpu) + ": " + std::to_string(count) + " events");
}

// The most frequent first. A name has two rows if only some of its events mean something.
void Tally::reportEvents_i(emit::Report& report) const {
    struct Row {
        std::uint64_t count;
        const std::string& name;
        const char* use;
    };
    std::vector<Row> rows;
    for (const EventCount& event : m_events) {
        if (event.mapped > 0) rows.push_back({event.mapped, event.name, "mapped"});
        if (event.unknown > 0) rows.push_back({event.unknown, event.name, "unknown"});
    }
    std::vector<const Row*> order;
    order.reserve(rows.size());
    for (const Row& row : rows) order.push_back(&row);
    std::stable_sort(order.begin(), order.end(),
                     [](const Row* one, const Row* other) { return one->count > other->count; });
    report.table("Trace Events Summary: Counts", {"Event", "Count", "Use"});
    for (const Row* row : order) report.row({row->name, std::to_string(row->count), row->use});
}

}  // namespace host::kernel_events
