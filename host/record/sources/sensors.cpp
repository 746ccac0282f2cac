// Thermal zones, and what hardware monitors measure: temperatures, voltages, currents, power, fans.
#include <map>

#include "host/base/text.h"
#include "host/record/sources/file_values.h"
#include "host/record/sources/sources.h"
#include "host/record/sources/unique_names.h"

namespace host::record {

namespace {

struct SensorKind {
    const char* prefix;  // of its files: "temp1_input"
    const char* feature;
    const char* metric;
    emit::QuantityKind kind;
    const char* quantity;
    const char* units;
    int decimals;
    double divisor;
};

std::unique_ptr<FileValueSource> makeSource(SourceContext& context, const SensorKind& kind, const char* of) {
    emit::ValueSpec spec{.section = {0, kind.feature, kind.metric, ""},
                         .quantity = {kind.kind, kind.quantity, kind.units},
                         .what = kind.quantity,
                         .of = of,
                         .decimals = kind.decimals};
    return std::make_unique<FileValueSource>(context, std::move(spec), kind.divisor);
}

// The file of each sensor by its number: NAME_input, or of power NAME_average where that can't be read. The
// average is listed first.
std::map<std::uint64_t, std::string> sensorFiles(const SourceContext& context, const std::string& folder,
                                                 std::string_view prefix) {
    std::map<std::uint64_t, std::string> files;
    for (const std::string& name : context.root.names(folder, prefix)) {
        std::string_view rest = std::string_view(name).substr(prefix.size());
        std::uint64_t number = 0;
        if (!base::takeUnsigned(rest, number)) continue;
        if (rest == "_average" && prefix == "power") files[number] = name;
        if (rest == "_input" &&
            (files.count(number) == 0 || WatchedFile(context, folder + name).isReadable()))
            files[number] = name;
    }
    return files;
}

SourcePtr makeSensorSource(SourceContext& context, const SensorKind& kind) {
    auto source = makeSource(context, kind, "Sensor");
    UniqueNames names;
    const std::string folder = "sys/class/hwmon/";
    for (const std::string& monitor : context.root.names(folder, "hwmon")) {
        const std::string path = folder + monitor + "/";
        for (const auto& [number, file] : sensorFiles(context, path, kind.prefix)) {
            const std::string sensor = kind.prefix + std::to_string(number);
            source->addReadable(path + file, [&, &path = path] {
                const std::string label = context.root.text(path + sensor + "_label");
                const std::string chip = context.root.text(path + "name");
                return names.take((chip.empty() ? monitor : chip) + " " + (label.empty() ? sensor : label),
                                  monitor);
            });
        }
    }
    return source;
}

}  // namespace

SourcePtr makeThermalZoneSource(SourceContext& context) {
    auto source = makeSource(context,
                             {"", "thermal", "Thermal Zone Temperature", emit::QuantityKind::Temperature,
                              "Temperature", "C", 1, 1e3},
                             "Thermal zone");
    UniqueNames names;
    const std::string folder = "sys/class/thermal/";
    for (const std::string& zone : context.root.names(folder, "thermal_zone"))
        source->addReadable(folder + zone + "/temp",
                            [&] { return names.take(context.root.text(folder + zone + "/type"), zone); });
    return source;
}

SourcePtr makeTemperatureSensorSource(SourceContext& context) {
    return makeSensorSource(context, {"temp", "thermal", "Sensor Temperature",
                                      emit::QuantityKind::Temperature, "Temperature", "C", 1, 1e3});
}

SourcePtr makeVoltageSource(SourceContext& context) {
    return makeSensorSource(
        context, {"in", "power", "Sensor Voltage", emit::QuantityKind::Voltage, "Voltage", "V", 3, 1e3});
}

SourcePtr makeCurrentSource(SourceContext& context) {
    return makeSensorSource(
        context, {"curr", "power", "Sensor Current", emit::QuantityKind::Current, "Current", "A", 3, 1e3});
}

SourcePtr makePowerSource(SourceContext& context) {
    return makeSensorSource(
        context, {"power", "power", "Sensor Power", emit::QuantityKind::Power, "Power", "W", 3, 1e6});
}

SourcePtr makeFanSource(SourceContext& context) {
    return makeSensorSource(
        context, {"fan", "thermal", "Fan Speed", emit::QuantityKind::Speed, "Speed", "rpm", 0, 1.0});
}

}  // namespace host::record
