#include "host/record/sources/interrupt_table.h"

#include <algorithm>
#include <utility>

#include "host/base/text.h"

namespace host::record {

namespace {

std::uint64_t riseOf(std::uint64_t before, std::uint64_t now) {
    constexpr std::uint64_t range = std::uint64_t{1} << 32;
    if (now >= before) return now - before;
    const std::uint64_t step = range - before + now;
    return before < range && step <= range / 2 ? step : 0;
}

}  // namespace

void InterruptTable::takeHeader_i(std::string_view line) {
    m_cpus.clear();
    for (std::size_t at; (at = line.find("CPU")) != std::string_view::npos;) {
        line.remove_prefix(at + 3);
        std::uint64_t number = 0;
        if (base::takeUnsigned(line, number) && number < 65536)
            m_cpus.push_back(static_cast<unsigned>(number));
    }
}

// Lines rarely change their places.
InterruptTable::Line& InterruptTable::find_i(std::string_view label) {
    const auto isIt = [&](const Line& line) { return line.label == label; };
    const auto here = m_lines.begin() + static_cast<std::ptrdiff_t>(m_count++);
    if (here != m_lines.end() && isIt(*here)) return *here;
    const auto there = std::find_if(here, m_lines.end(), isIt);
    if (there == m_lines.end()) {
        Line line;
        line.label = label;
        return *m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(m_count - 1), std::move(line));
    }
    std::rotate(here, there, there + 1);
    return *here;
}

void InterruptTable::takeLine_i(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) return;
    Line& line = find_i(base::trimmed(text.substr(0, colon)));
    text.remove_prefix(colon + 1);
    line.rise = 0;
    for (const unsigned cpu : m_cpus) {
        std::uint64_t reading = 0;
        if (!base::takeUnsigned(text, reading)) break;
        if (cpu >= line.readings.size()) {
            line.readings.resize(cpu + 1);
            line.known.resize(cpu + 1);
        }
        if (line.known[cpu]) line.rise += riseOf(line.readings[cpu], reading);
        line.readings[cpu] = reading;
        line.known[cpu] = true;
    }
    text = base::trimmed(text);
    line.isNew = line.rest.empty() || line.rest != text;
    if (line.rest != text) line.rest = text;
}

void InterruptTable::update(std::string_view text) {
    std::string_view line;
    m_count = 0;
    if (!base::takeLine(text, line)) return;
    takeHeader_i(line);
    while (base::takeLine(text, line)) takeLine_i(line);
}

}  // namespace host::record
