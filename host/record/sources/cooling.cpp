// Cooling devices, and how often the CPUs were throttled for their heat.
#include "host/record/sources/counters.h"
#include "host/record/sources/file_values.h"
#include "host/record/sources/sources.h"
#include "host/record/sources/unique_names.h"

namespace host::record {

namespace {

class ThrottleSource : public Source {
public:
    explicit ThrottleSource(SourceContext& context)
        : m_context(context),
          m_metric(context, counterSpec("thermal", "Thermal Throttles", "throttles", {"CPU", "Part"})) {}

    bool prepare() override {
        for (const unsigned number : m_context.cpus.numbers()) {
            add_i(number, "core_throttle_count", "Core");
            add_i(number, "package_throttle_count", "Package");
        }
        if (!m_metric.isEmpty()) m_metric.define();
        return !m_metric.isEmpty();
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        read_i([&](std::size_t item, std::uint64_t count) { m_metric.start(item, count); });
    }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        read_i([&](std::size_t item, std::uint64_t count) { m_metric.take(item, count); });
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    void add_i(unsigned number, const char* name, const char* part) {
        const std::string cpu = Cpus::name(number);
        WatchedFile file(m_context,
                         "sys/devices/system/cpu/cpu" + std::to_string(number) + "/thermal_throttle/" + name,
                         number);
        if (!file.isReadable()) return;
        const std::size_t item = m_metric.add(m_context.cpus.entity(number), part, {cpu, part});
        m_files.emplace_back(std::move(file), item);
    }

    void read_i(auto withCount) {
        for (auto& [file, item] : m_files) {
            std::uint64_t count = 0;
            if (file.readUnsigned(count)) withCount(item, count);
        }
    }

    SourceContext& m_context;
    emit::CounterMetric m_metric;
    std::vector<std::pair<WatchedFile, std::size_t>> m_files;
};

}  // namespace

SourcePtr makeCoolingSource(SourceContext& context) {
    emit::ValueSpec spec{.section = {0, "thermal", "Cooling Device State", ""},
                         .quantity = {emit::QuantityKind::Level, "Cooling State", ""},
                         .what = "State",
                         .of = "Cooling device",
                         .decimals = 0};
    auto source = std::make_unique<FileValueSource>(context, std::move(spec), 1.0);
    UniqueNames names;
    const std::string folder = "sys/class/thermal/";
    for (const std::string& device : context.root.names(folder, "cooling_device"))
        source->addReadable(folder + device + "/cur_state",
                            [&] { return names.take(context.root.text(folder + device + "/type"), device); });
    return source;
}

SourcePtr makeThrottleSource(SourceContext& context) {
    return std::make_unique<ThrottleSource>(context);
}

}  // namespace host::record
