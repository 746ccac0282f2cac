// One function for each source.
#pragma once

#include "host/record/source.h"

namespace host::record {

SourcePtr makeCpuTimeSource(SourceContext& context);
SourcePtr makeIdleStateSource(SourceContext& context);
SourcePtr makeCpuFrequencySource(SourceContext& context);
SourcePtr makeGovernorSource(SourceContext& context);
SourcePtr makeFrequencyResidencySource(SourceContext& context);
SourcePtr makeEnergySource(SourceContext& context);
SourcePtr makePowerLimitSource(SourceContext& context);
SourcePtr makeThermalZoneSource(SourceContext& context);
SourcePtr makeTemperatureSensorSource(SourceContext& context);
SourcePtr makeVoltageSource(SourceContext& context);
SourcePtr makeCurrentSource(SourceContext& context);
SourcePtr makePowerSource(SourceContext& context);
SourcePtr makeFanSource(SourceContext& context);
SourcePtr makeCoolingSource(SourceContext& context);
SourcePtr makeThrottleSource(SourceContext& context);
SourcePtr makeBatteryEnergySource(SourceContext& context);
SourcePtr makeBatteryChargeSource(SourceContext& context);
SourcePtr makeBatteryPowerSource(SourceContext& context);
SourcePtr makeBatteryVoltageSource(SourceContext& context);
SourcePtr makeBatteryCurrentSource(SourceContext& context);
SourcePtr makeBatteryCapacitySource(SourceContext& context);
SourcePtr makeSupplyStatusSource(SourceContext& context);
SourcePtr makeKernelActivitySource(SourceContext& context);
SourcePtr makeLoadSource(SourceContext& context);
SourcePtr makeInterruptLineSource(SourceContext& context);
SourcePtr makeSoftInterruptSource(SourceContext& context);
SourcePtr makeMemorySource(SourceContext& context);
SourcePtr makeProcessSource(SourceContext& context);
SourcePtr makeProcessTimeSource(SourceContext& context);
SourcePtr makeDiskSource(SourceContext& context);
SourcePtr makeNetworkSource(SourceContext& context);
SourcePtr makePressureSource(SourceContext& context);
SourcePtr makeGroupTimeSource(SourceContext& context);
SourcePtr makeGroupMemorySource(SourceContext& context);
SourcePtr makeGpuBusySource(SourceContext& context);
SourcePtr makeGpuFrequencySource(SourceContext& context);
SourcePtr makeGpuRc6Source(SourceContext& context);
SourcePtr makeGpuEngineSource(SourceContext& context);
SourcePtr makeRuntimePowerSource(SourceContext& context);
SourcePtr makeWakeupSource(SourceContext& context);
SourcePtr makeAwakeSource(SourceContext& context);
SourcePtr makeOwnSource(SourceContext& context);

}  // namespace host::record
