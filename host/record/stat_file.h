// proc/stat, which several sources share: read and parsed once per sample.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "host/record/sample_file.h"

namespace host::record {

inline constexpr std::size_t CPU_TIMES = 8;

// Times of one CPU since boot in the kernel's clock ticks: user, nice, system, idle, iowait, irq, softirq,
// steal.
struct CpuTimes {
    unsigned number;
    std::array<std::uint64_t, CPU_TIMES> times;
};

class StatFile {
public:
    explicit StatFile(const Root& root) : m_file(root, "proc/stat") {}

    // Reads the file anew. False, and nothing below changes, when it can't be read.
    bool update();

    // CPUs that are online, in ascending order.
    const std::vector<CpuTimes>& cpus() const { return m_cpus; }

    // Whether a CPU is among them; all are while the file is missing.
    bool isOnline(unsigned number) const;

    // Counters since boot; false if the kernel does not give them.
    bool contextSwitches(std::uint64_t& value) const { return m_contextSwitches.get(value); }
    bool interrupts(std::uint64_t& value) const { return m_interrupts.get(value); }
    bool forks(std::uint64_t& value) const { return m_forks.get(value); }

private:
    struct Counter {
        bool known = false;
        std::uint64_t value = 0;
        bool get(std::uint64_t& out) const {
            if (known) out = value;
            return known;
        }
        void take(std::string_view text);
    };
    void takeCpu_i(std::string_view line);

    SampleFile m_file;
    std::vector<char> m_buffer;
    std::vector<CpuTimes> m_cpus;
    Counter m_contextSwitches;
    Counter m_interrupts;
    Counter m_forks;
};

}  // namespace host::record
