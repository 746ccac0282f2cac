// One function for each source.
#pragma once

#include "host/record/source.h"

namespace host::record {

SourcePtr makeCpuTimeSource(SourceContext& context);
SourcePtr makeKernelActivitySource(SourceContext& context);
SourcePtr makeIdleStateSource(SourceContext& context);
SourcePtr makeCpuFrequencySource(SourceContext& context);
SourcePtr makeGovernorSource(SourceContext& context);
SourcePtr makeThermalZoneSource(SourceContext& context);
SourcePtr makeTemperatureSensorSource(SourceContext& context);
SourcePtr makeEnergySource(SourceContext& context);
SourcePtr makeMemorySource(SourceContext& context);
SourcePtr makeLoadSource(SourceContext& context);
SourcePtr makeProcessSource(SourceContext& context);
SourcePtr makeWakeupSource(SourceContext& context);

}  // namespace host::record
