// Battery figures from the property maps macOS hands out: the power-source
// descriptions and the smart-battery registry entry. Pure functions; copying the
// maps out of IOKit is the only platform code.
#pragma once

#include <optional>
#include <vector>

#include "core/Platform.h"
#include "readers/PowerCommon.h"

namespace qm {

// From the power-source descriptions: the first whose "Type" is "InternalBattery"
// gives present, percent, isCharging, onAC and minutesRemaining. Without one the
// default record (not present, on external power).
BatteryStats batteryFromPowerSources(const std::vector<PropertyMap>& descriptions);

// Adds the smart-battery entry's figures (cycle count, temperature, health, battery
// power, adapter watts) to a present battery, and works out the system power from
// "PowerTelemetryData" with the discharge fallback. `osMaximumCapacity` is the
// operating system's own health report when it has one. Without an entry
// (`smartBattery` null) the registry figures and the system power are absent.
PowerReading applySmartBattery(BatteryStats battery, const PropertyMap* smartBattery,
                               std::optional<double> osMaximumCapacity);

}  // namespace qm
