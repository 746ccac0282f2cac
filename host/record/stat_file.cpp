#include "host/record/stat_file.h"

#include <algorithm>

#include "host/base/text.h"

namespace host::record {

void StatFile::Counter::take(std::string_view text) {
    known = base::takeUnsigned(text, value);
}

void StatFile::takeCpu_i(std::string_view line) {
    std::uint64_t number = 0;
    line.remove_prefix(3);
    if (line.starts_with(' ') || !base::takeUnsigned(line, number)) return;  // the line of all CPUs
    CpuTimes cpu{static_cast<unsigned>(number), {}};
    for (std::uint64_t& time : cpu.times)
        if (!base::takeUnsigned(line, time)) break;
    m_cpus.push_back(cpu);
}

bool StatFile::isOnline(unsigned number) const {
    const auto at = std::lower_bound(m_cpus.begin(), m_cpus.end(), number,
                                     [](const CpuTimes& cpu, unsigned n) { return cpu.number < n; });
    return m_cpus.empty() || (at != m_cpus.end() && at->number == number);
}

bool StatFile::update() {
    std::string_view text = m_file.read(m_buffer);
    if (text.empty()) return false;
    m_cpus.clear();
    m_contextSwitches = m_interrupts = m_forks = {};
    std::string_view line;
    while (base::takeLine(text, line)) {
        if (line.starts_with("cpu")) takeCpu_i(line);
        if (line.starts_with("intr ")) m_interrupts.take(line.substr(5));
        if (line.starts_with("ctxt ")) m_contextSwitches.take(line.substr(5));
        if (line.starts_with("processes ")) m_forks.take(line.substr(10));
    }
    return true;
}

}  // namespace host::record
