// This machine's system sources (defined in linux/ or darwin/).
#pragma once

#include <memory>
#include <optional>

#include "core/Platform.h"

namespace qm {

std::unique_ptr<CPUSource> makeCPUSource();
std::unique_ptr<MemorySource> makeMemorySource();
std::unique_ptr<NetworkSource> makeNetworkSource();
std::unique_ptr<DiskSource> makeDiskSource();
std::unique_ptr<SensorSource> makeSensorSource();
std::unique_ptr<PowerSource> makePowerSource();
std::unique_ptr<GPUSource> makeGPUSource();
std::optional<Date> readBootTime();
ThermalState readThermalState();

}  // namespace qm
