// The one AppleBatteryHealth of the application, measuring with the system profiler.
#pragma once

#include "readers/BatteryHealth.h"

namespace qm {

AppleBatteryHealth& appleBatteryHealth();

}  // namespace qm
