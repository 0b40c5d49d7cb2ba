// Which part of the machine a temperature sensor belongs to.
#pragma once

#include <optional>
#include <string_view>

#include "core/Snapshot.h"

namespace qm {

// Sorts a sensor by its name (case-insensitive). The first matching rule wins, so
// "GPU MTR Temp" is a GPU sensor although "mtr" alone would mean the CPU:
// "gpu"/"gfx" → gpu; "nand"/"ssd"/"disk" → storage; "battery"/"gas gauge" → battery;
// "dram"/"mem" → memory; "tdie"/"pacc"/"eacc"/"cpu"/"soc"/"mtr" → cpu; else other.
SensorReading::Group classifySensorName(std::string_view name);

// The group of a Linux hwmon chip or thermal-zone type ("coretemp", "amdgpu",
// "nvme", "BAT0", ...); absent for chips that say nothing about what they measure.
std::optional<SensorReading::Group> groupForChip(std::string_view chip);

}  // namespace qm
