// GPU utilisation across every accelerator the machine has.
#pragma once

#include <optional>
#include <vector>

#include "readers/PowerCommon.h"

namespace qm {

// The busiest accelerator's value, capped at 100 (and never below 0); absent when
// there is none.
std::optional<double> busiestAccelerator(const std::vector<double>& percents);

// One accelerator's "PerformanceStatistics": "Device Utilization %", or
// "GPU Activity(%)" when that key is missing.
std::optional<double> acceleratorUtilisation(const PropertyMap& performanceStatistics);

}  // namespace qm
