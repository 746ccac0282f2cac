// Batteries and other power supplies.
#include <cmath>
#include <cstdlib>
#include <optional>

#include "host/base/text.h"
#include "host/emit/transition_metric.h"
#include "host/record/sources/file_values.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

const std::string FOLDER = "sys/class/power_supply/";

emit::ValueSpec valueSpec(const char* metric, emit::QuantityKind kind, const char* quantity,
                          const char* units) {
    return {.section = {0, "power", metric, ""},
            .quantity = {kind, quantity, units},
            .what = quantity,
            .of = "Power supply",
            .decimals = 3};
}

SourcePtr makeSupplyValues(SourceContext& context, const char* file, double divisor, emit::ValueSpec spec) {
    auto source = std::make_unique<FileValueSource>(context, std::move(spec), divisor);
    for (const std::string& supply : context.root.names(FOLDER))
        source->addReadable(FOLDER + supply + "/" + file, [&] { return supply; });
    return source;
}

// What a supply gives or takes. Some name the power, others current and voltage; some give a direction by the
// sign, others by the status alone: all are shown without one.
class SupplyFlowSource : public Source {
public:
    SupplyFlowSource(SourceContext& context, bool isPower, emit::ValueSpec spec)
        : m_context(context), m_isPower(isPower), m_metric(context, std::move(spec)) {}

    bool prepare() override {
        for (const std::string& name : m_context.root.names(FOLDER)) {
            const std::string path = FOLDER + name + "/";
            Supply supply;
            if (m_isPower) supply.power = open_i(path + "power_now");
            if (!supply.power) {
                supply.current = open_i(path + "current_now");
                if (m_isPower) supply.voltage = open_i(path + "voltage_now");
            }
            if (!supply.power && (!supply.current || (m_isPower && !supply.voltage))) continue;
            supply.item = m_metric.add(m_context.define.entity(name), name);
            m_supplies.push_back(std::move(supply));
        }
        if (!m_supplies.empty()) m_metric.define();
        return !m_supplies.empty();
    }

    void baseline(std::uint64_t ticks) override { m_metric.baseline(ticks); }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        for (Supply& supply : m_supplies) {
            std::int64_t number = 0;
            std::int64_t voltage = 0;
            if (supply.power) {
                if (supply.power->readSigned(number)) take_i(supply, number, 1e6);
            } else if (supply.current->readSigned(number)) {
                if (!supply.voltage)
                    take_i(supply, number, 1e6);
                else if (supply.voltage->readSigned(voltage))
                    m_metric.takeReal(supply.item, std::abs(static_cast<double>(number) / 1e6 *
                                                            (static_cast<double>(voltage) / 1e6)));
            }
        }
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    struct Supply {
        std::optional<WatchedFile> power;
        std::optional<WatchedFile> current;
        std::optional<WatchedFile> voltage;
        std::size_t item = 0;
    };

    std::optional<WatchedFile> open_i(const std::string& path) {
        WatchedFile file(m_context, path);
        if (!file.isReadable()) return std::nullopt;
        return file;
    }

    void take_i(const Supply& supply, std::int64_t number, double divisor) {
        m_metric.takeReal(supply.item, std::abs(static_cast<double>(number) / divisor));
    }

    SourceContext& m_context;
    bool m_isPower;
    emit::ValueMetric m_metric;
    std::vector<Supply> m_supplies;
};

// What a battery does, and whether other supplies are there.
class SupplyStatusSource : public Source {
public:
    explicit SupplyStatusSource(SourceContext& context)
        : m_context(context),
          m_metric(context, {0, "power", "Power Supply Status", ""}, "Status", "Power supply") {}

    bool prepare() override {
        for (const std::string& name : m_context.root.names(FOLDER)) {
            WatchedFile status(m_context, FOLDER + name + "/status");
            const bool isOnline = !status.isReadable();
            if (isOnline) status = WatchedFile(m_context, FOLDER + name + "/online");
            if (!status.isReadable()) continue;
            const std::size_t item = m_metric.add(m_context.define.entity(name), name);
            m_supplies.push_back({std::move(status), isOnline, item});
        }
        if (!m_supplies.empty()) m_metric.define();
        return !m_supplies.empty();
    }

    void baseline(std::uint64_t ticks) override { sample(ticks); }

    void sample(std::uint64_t ticks) override {
        for (Supply& supply : m_supplies) {
            std::string_view text;
            std::optional<std::string_view> state;
            if (supply.file.readText(text, m_buffer)) state = text;
            if (state && supply.isOnline) state = text == "0" ? "Offline" : "Online";
            m_metric.enter(supply.item, ticks, state);
        }
    }

    void restart(std::uint64_t ticks) override {
        for (const Supply& supply : m_supplies) m_metric.forget(supply.item);
        sample(ticks);
    }

    void finish(std::uint64_t ticks) override { m_metric.finish(ticks); }
    void report(emit::Report& report) override { m_metric.report(report); }

private:
    struct Supply {
        WatchedFile file;
        bool isOnline;  // the file holds a number that says so, not a text
        std::size_t item;
    };

    SourceContext& m_context;
    emit::TransitionMetric m_metric;
    std::vector<Supply> m_supplies;
    std::vector<char> m_buffer;
};

}  // namespace

using enum emit::QuantityKind;

SourcePtr makeBatteryEnergySource(SourceContext& context) {
    return makeSupplyValues(context, "energy_now", 1e6, valueSpec("Battery Energy", Energy, "Energy", "Wh"));
}

SourcePtr makeBatteryChargeSource(SourceContext& context) {
    return makeSupplyValues(context, "charge_now", 1e6, valueSpec("Battery Charge", Charge, "Charge", "Ah"));
}

SourcePtr makeBatteryVoltageSource(SourceContext& context) {
    return makeSupplyValues(context, "voltage_now", 1e6,
                            valueSpec("Battery Voltage", Voltage, "Voltage", "V"));
}

SourcePtr makeBatteryCapacitySource(SourceContext& context) {
    return makeSupplyValues(context, "capacity", 1.0, valueSpec("Battery Capacity", Share, "Capacity", "%"));
}

SourcePtr makeBatteryPowerSource(SourceContext& context) {
    return std::make_unique<SupplyFlowSource>(context, true, valueSpec("Battery Power", Power, "Power", "W"));
}

SourcePtr makeBatteryCurrentSource(SourceContext& context) {
    return std::make_unique<SupplyFlowSource>(context, false,
                                              valueSpec("Battery Current", Current, "Current", "A"));
}

SourcePtr makeSupplyStatusSource(SourceContext& context) {
    return std::make_unique<SupplyStatusSource>(context);
}

}  // namespace host::record
