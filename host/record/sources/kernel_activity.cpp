// What the kernel did: context switches, interrupts, forks.
#include <array>

#include "host/emit/counter_metric.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

using Reader = bool (StatFile::*)(std::uint64_t&) const;

struct Counter {
    const char* name;
    const char* units;
    Reader read;
};

constexpr std::array<Counter, 3> COUNTERS{{{"Context Switches", "switches", &StatFile::contextSwitches},
                                           {"Interrupts", "interrupts", &StatFile::interrupts},
                                           {"Forks", "forks", &StatFile::forks}}};

class KernelActivitySource : public Source {
public:
    explicit KernelActivitySource(SourceContext& context) : m_context(context) {}

    bool prepare() override {
        std::uint64_t value = 0;
        for (const Counter& counter : COUNTERS)
            if ((m_context.stat.*counter.read)(value)) add_i(counter);
        return !m_metrics.empty();
    }

    void baseline(std::uint64_t ticks) override {
        std::uint64_t value = 0;
        for (auto& [read, metric] : m_metrics) {
            metric->baseline(ticks);
            if ((m_context.stat.*read)(value)) metric->start(0, value);
        }
    }

    void sample(std::uint64_t ticks) override {
        std::uint64_t value = 0;
        for (auto& [read, metric] : m_metrics) {
            metric->begin(ticks);
            if ((m_context.stat.*read)(value)) metric->take(0, value);
            metric->end();
        }
    }

    void report(emit::Report& report) override {
        for (const auto& entry : m_metrics) entry.second->report(report);
    }

private:
    void add_i(const Counter& counter) {
        const std::string units = counter.units;
        auto metric = std::make_unique<emit::CounterMetric>(
            m_context, emit::CounterSpec{.section = {0, "kernel", counter.name, ""},
                                         .quantity = {emit::QuantityKind::Count, counter.name, units},
                                         .rate = {emit::QuantityKind::Rate,
                                                  std::string(counter.name) + " Rate", units + "/s"},
                                         .rateFactor = 1.0,
                                         .keys = {"Component"}});
        metric->add(m_context.system, counter.name, {"System"});
        metric->define();
        m_metrics.emplace_back(counter.read, std::move(metric));
    }

    SourceContext& m_context;
    std::vector<std::pair<Reader, std::unique_ptr<emit::CounterMetric>>> m_metrics;
};

}  // namespace

SourcePtr makeKernelActivitySource(SourceContext& context) {
    return std::make_unique<KernelActivitySource>(context);
}

}  // namespace host::record
