// Temperatures: the kernel's thermal zones, and the sensors of hardware monitors.
#include "host/record/sources/file_values.h"
#include "host/record/sources/sources.h"
#include "host/record/sources/unique_names.h"

namespace host::record {

namespace {

std::unique_ptr<FileValueSource> makeSource(SourceContext& context, const char* metric, const char* of,
                                            const char* subject) {
    emit::ValueSpec spec{.chapter = {0, "thermal", metric, ""},
                         .quantity = {emit::QuantityKind::Temperature, "Temperature", "C"},
                         .what = "Temperature",
                         .of = of,
                         .decimals = 1};
    return std::make_unique<FileValueSource>(context, std::move(spec), 1000.0, subject);
}

}  // namespace

SourcePtr makeThermalZoneSource(SourceContext& context) {
    auto source = makeSource(context, "Thermal Zone Temperature", "Thermal zone", "thermal zones");
    UniqueNames names;
    const std::string folder = "sys/class/thermal/";
    for (const std::string& zone : context.root.names(folder, "thermal_zone")) {
        WatchedFile file(context, folder + zone + "/temp");
        if (!file.isReadable()) continue;
        const std::string name = names.take(context.root.text(folder + zone + "/type"), zone);
        source->add(std::move(file), context.define.entity(name), name);
    }
    return source;
}

SourcePtr makeTemperatureSensorSource(SourceContext& context) {
    auto source = makeSource(context, "Sensor Temperature", "Sensor", "temperature sensors");
    UniqueNames names;
    const std::string folder = "sys/class/hwmon/";
    for (const std::string& monitor : context.root.names(folder, "hwmon")) {
        for (unsigned number = 1; number <= 64; ++number) {
            const std::string sensor = "temp" + std::to_string(number);
            const std::string path = folder + monitor + "/" + sensor;
            WatchedFile file(context, path + "_input");
            if (!file.isReadable()) continue;
            const std::string label = context.root.text(path + "_label");
            const std::string chip = context.root.text(folder + monitor + "/name");
            const std::string name = names.take(chip + " " + (label.empty() ? sensor : label), monitor);
            source->add(std::move(file), context.define.entity(name), name);
        }
    }
    return source;
}

}  // namespace host::record
