#include "host/record/sources/sources.h"

namespace host::record {

std::vector<SourcePtr> makeSources(SourceContext& context) {
    std::vector<SourcePtr> sources;
    sources.push_back(makeCpuTimeSource(context));
    sources.push_back(makeIdleStateSource(context));
    sources.push_back(makeCpuFrequencySource(context));
    sources.push_back(makeGovernorSource(context));
    sources.push_back(makeEnergySource(context));
    sources.push_back(makeThermalZoneSource(context));
    sources.push_back(makeTemperatureSensorSource(context));
    sources.push_back(makeKernelActivitySource(context));
    sources.push_back(makeMemorySource(context));
    sources.push_back(makeLoadSource(context));
    sources.push_back(makeProcessSource(context));
    sources.push_back(makeWakeupSource(context));
    return sources;
}

const std::vector<std::string>& defaultFeatureOrder() {
    static const std::vector<std::string> order{"power",  "thermal", "frequency", "idle",  "cpu",
                                                "kernel", "memory",  "process",   "wakeup"};
    return order;
}

}  // namespace host::record
