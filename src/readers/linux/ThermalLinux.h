// The thermal state on Linux, which has no system-wide equivalent: the hottest CPU
// sensor against its own limits (hwmon max/crit, thermal-zone trip points), raised
// one level while the processor's package throttle counters grow.
#pragma once

#include <string>
#include <vector>

#include "readers/ThermalState.h"
#include "readers/linux/SensorHwmonScan.h"

namespace qm {

class LinuxThermalMonitor {
public:
    // Finds the sensors, zones and counters below `root` once.
    explicit LinuxThermalMonitor(const std::string& root);
    ThermalState read();

private:
    std::vector<HwmonTemperature> watched_;
    std::vector<std::string> throttleCounters_;
    ThrottleWatch throttle_;
};

}  // namespace qm
