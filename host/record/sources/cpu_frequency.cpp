// Frequency of each CPU, and the time that it spent at each.
#include <unistd.h>

#include <array>

#include "host/base/text.h"
#include "host/emit/residency_metric.h"
#include "host/record/sources/file_values.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

std::string cpufreqFolder(unsigned number) {
    return "sys/devices/system/cpu/cpu" + std::to_string(number) + "/cpufreq/";
}

// Takes the next "FREQUENCY TIME" line, in kHz and the kernel's clock ticks.
bool takeEntry(std::string_view& text, std::uint64_t& kilohertz, std::uint64_t& time) {
    std::string_view line;
    return base::takeLine(text, line) && base::takeUnsigned(line, kilohertz) &&
           base::takeUnsigned(line, time);
}

class FrequencyResidencySource : public Source {
public:
    explicit FrequencyResidencySource(SourceContext& context)
        : m_context(context),
          m_metric(context, {0, "frequency", "CPU Frequency Residency", ""}, "CPU",
                   context.ticksPerUsec * 1e6 / static_cast<double>(sysconf(_SC_CLK_TCK))) {}

    bool prepare() override {
        for (const unsigned number : m_context.cpus.numbers()) addCpu_i(number);
        if (!m_cpus.empty()) m_metric.define();
        return !m_cpus.empty();
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        read_i([&](std::size_t item) { m_metric.start(item, m_times); });
    }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        read_i([&](std::size_t item) { m_metric.take(item, m_times); });
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    struct Cpu {
        WatchedFile file;
        std::size_t item;
        std::size_t states;
    };

    void addCpu_i(unsigned number) {
        WatchedFile file(m_context, cpufreqFolder(number) + "stats/time_in_state", number);
        std::string_view text;
        std::uint64_t kilohertz = 0;
        std::uint64_t time = 0;
        std::vector<std::size_t> states;
        if (!file.isReadable() || !file.readText(text, m_buffer)) return;
        while (takeEntry(text, kilohertz, time))
            states.push_back(m_metric.state(std::to_string(kilohertz / 1000) + " MHz"));
        if (states.empty()) return;
        const std::size_t item = m_metric.add(m_context.cpus.entity(number), Cpus::name(number), states);
        m_cpus.push_back({std::move(file), item, states.size()});
    }

    void read_i(auto withTimes) {
        for (Cpu& cpu : m_cpus) {
            std::string_view text;
            std::uint64_t kilohertz = 0;
            std::uint64_t time = 0;
            if (!cpu.file.readText(text, m_buffer)) continue;
            m_times.clear();
            while (takeEntry(text, kilohertz, time)) m_times.push_back(time);
            if (m_times.size() == cpu.states) withTimes(cpu.item);
        }
    }

    SourceContext& m_context;
    emit::ResidencyMetric m_metric;
    std::vector<Cpu> m_cpus;
    std::vector<std::uint64_t> m_times;
    std::vector<char> m_buffer;
};

}  // namespace

SourcePtr makeCpuFrequencySource(SourceContext& context) {
    emit::ValueSpec spec{.section = {0, "frequency", "CPU Frequency", ""},
                         .quantity = {emit::QuantityKind::Frequency, "Frequency", "MHz"},
                         .what = "Frequency",
                         .of = "CPU",
                         .decimals = 2};
    auto source = std::make_unique<FileValueSource>(context, std::move(spec), 1000.0);
    for (const unsigned number : context.cpus.numbers()) {
        // What the governor asked for, else what the hardware gave.
        for (const char* name : {"scaling_cur_freq", "cpuinfo_avg_freq", "cpuinfo_cur_freq"}) {
            WatchedFile file(context, cpufreqFolder(number) + name, number);
            std::uint64_t kilohertz = 0;
            if (!file.isReadable() || !file.readUnsigned(kilohertz)) continue;
            source->add(std::move(file), context.cpus.entity(number), Cpus::name(number));
            break;
        }
    }
    return source;
}

SourcePtr makeFrequencyResidencySource(SourceContext& context) {
    return std::make_unique<FrequencyResidencySource>(context);
}

}  // namespace host::record
