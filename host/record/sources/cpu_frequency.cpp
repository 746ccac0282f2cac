// Frequency of each CPU.
#include "host/record/sources/file_values.h"
#include "host/record/sources/sources.h"

namespace host::record {

SourcePtr makeCpuFrequencySource(SourceContext& context) {
    emit::ValueSpec spec{.chapter = {0, "frequency", "CPU Frequency", ""},
                         .quantity = {emit::QuantityKind::Frequency, "Frequency", "MHz"},
                         .what = "Frequency",
                         .of = "CPU",
                         .decimals = 2};
    auto source = std::make_unique<FileValueSource>(context, std::move(spec), 1000.0, "CPU frequencies");
    for (const unsigned number : context.cpus.numbers()) {
        const std::string folder = "sys/devices/system/cpu/cpu" + std::to_string(number) + "/cpufreq/";
        WatchedFile file(context, folder + "scaling_cur_freq", number);
        if (file.isReadable()) source->add(std::move(file), context.cpus.entity(number), Cpus::name(number));
    }
    return source;
}

}  // namespace host::record
