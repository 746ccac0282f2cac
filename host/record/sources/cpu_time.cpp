// Time of each CPU in the states that the scheduler distinguishes.
#include <unistd.h>

#include <algorithm>

#include "host/emit/residency_metric.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

constexpr const char* STATES[CPU_TIMES] = {"User",    "Nice", "System",   "Idle",
                                           "IO wait", "IRQ",  "Soft IRQ", "Steal"};
constexpr const char* NOTE =
    "Times as the scheduler accounts them, in steps of its own clock tick: a single sample is coarse, the "
    "whole "
    "collection is not.";

class CpuTimeSource : public Source {
public:
    explicit CpuTimeSource(SourceContext& context)
        : m_context(context),
          m_metric(context, {0, "cpu", "CPU Time States", NOTE}, "CPU",
                   context.ticksPerUsec * 1e6 / static_cast<double>(sysconf(_SC_CLK_TCK))) {}

    bool prepare() override {
        for (const char* name : STATES) m_states.push_back(m_metric.state(name));
        for (const CpuTimes& cpu : m_context.stat.cpus()) item_i(cpu.number);
        if (!m_metric.isEmpty()) m_metric.define();
        return !m_metric.isEmpty();
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        for (const CpuTimes& cpu : m_context.stat.cpus()) m_metric.start(item_i(cpu.number), cpu.times);
        m_online = m_context.stat.cpus().size();
    }

    void sample(std::uint64_t ticks) override {
        warnOfOffline_i();
        m_metric.begin(ticks);
        for (const CpuTimes& cpu : m_context.stat.cpus()) m_metric.take(item_i(cpu.number), cpu.times);
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    // The metric's item of a CPU; one that came online later gets it now.
    std::size_t item_i(unsigned number) {
        if (number >= m_items.size()) m_items.resize(number + 1, NO_ITEM);
        if (m_items[number] == NO_ITEM)
            m_items[number] = m_metric.add(m_context.cpus.entity(number), Cpus::name(number), m_states);
        return m_items[number];
    }

    void warnOfOffline_i() {
        const std::size_t online = m_context.stat.cpus().size();
        if (online == m_online) return;
        m_context.note(std::to_string(online) + " CPUs are online now, " + std::to_string(m_online) +
                       " before");
        m_online = online;
    }

    static constexpr std::size_t NO_ITEM = ~std::size_t{0};

    SourceContext& m_context;
    emit::ResidencyMetric m_metric;
    std::vector<std::size_t> m_states;
    std::vector<std::size_t> m_items;  // by CPU number
    std::size_t m_online = 0;
};

}  // namespace

SourcePtr makeCpuTimeSource(SourceContext& context) {
    return std::make_unique<CpuTimeSource>(context);
}

}  // namespace host::record
