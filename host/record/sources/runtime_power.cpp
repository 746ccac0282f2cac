// How long devices were powered up and down while the machine ran.
#include <array>

#include "host/emit/residency_metric.h"
#include "host/record/sources/sources.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

class RuntimePowerSource : public Source {
public:
    explicit RuntimePowerSource(SourceContext& context)
        : m_context(context),
          m_metric(context, {0, "device", "Device Runtime Power", ""}, "Device",
                   context.ticksPerUsec * 1000.0) {}

    bool prepare() override {
        m_states = {m_metric.state("Active"), m_metric.state("Suspended")};
        for (const std::string& device : m_context.devices.get()) add_i(device);
        if (!m_devices.empty()) m_metric.define();
        return !m_devices.empty();
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        read_i([&](std::size_t item, const auto& times) { m_metric.start(item, times); });
    }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        read_i([&](std::size_t item, const auto& times) { m_metric.take(item, times); });
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    struct Device {
        WatchedFile active;  // msec
        WatchedFile suspended;
        std::size_t item;
    };

    void add_i(const std::string& device) {
        const std::string folder = DEVICES + device + "/power/";
        const std::string status = m_context.root.text(folder + "runtime_status");
        if (device.empty() || status.empty() || status == "unsupported") return;
        WatchedFile active(m_context, folder + "runtime_active_time");
        WatchedFile suspended(m_context, folder + "runtime_suspended_time");
        if (!active.isReadable() || !suspended.isReadable()) return;
        const std::string name = device.substr(1);
        const std::size_t item = m_metric.add(m_context.define.entity(name), name, m_states);
        m_devices.push_back({std::move(active), std::move(suspended), item});
    }

    void read_i(auto withTimes) {
        std::array<std::uint64_t, 2> times{};
        for (Device& device : m_devices)
            if (device.active.readUnsigned(times[0]) && device.suspended.readUnsigned(times[1]))
                withTimes(device.item, times);
    }

    SourceContext& m_context;
    emit::ResidencyMetric m_metric;
    std::vector<std::size_t> m_states;
    std::vector<Device> m_devices;
};

}  // namespace

SourcePtr makeRuntimePowerSource(SourceContext& context) {
    return std::make_unique<RuntimePowerSource>(context);
}

}  // namespace host::record
