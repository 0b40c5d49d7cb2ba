// What /sys offers in temperatures and fans, found once: hwmon chips (and thermal
// zones), with the paths to read each tick and the limits that do not change.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"
#include "readers/ThermalState.h"

namespace qm {

struct HwmonTemperature {
    std::string chip;   // hwmon "name", or the thermal zone's type
    std::string label;  // tempN_label, empty when there is none
    std::string name;   // what the user sees
    SensorReading::Group group = SensorReading::Group::other;
    bool groupFromLabel = false;  // the chip said nothing; the label's wording decided
    std::string inputPath;        // millidegrees Celsius
    ThermalLimits limits;
};

struct HwmonFan {
    std::string inputPath;  // rpm
    std::optional<double> min, max;
};

struct HwmonScan {
    std::vector<HwmonTemperature> temperatures;  // grouped (CPU first), then in /sys order
    std::vector<HwmonFan> fans;
};

// Every hwmon chip below `root`/sys/class/hwmon. The group comes from the chip
// ("coretemp" CPU, "amdgpu" GPU, "nvme" storage, ...), or from the label's wording
// for chips that do not say; a motherboard chip's "CPUTIN" only counts as CPU when no
// CPU chip is present, so it cannot dilute the processor's own readings. Names are the labels ("Package id 0", "Tctl"),
// prefixed with the chip outside the CPU group ("nvme Composite", "amdgpu edge"); a repeated name gets " 2", " 3". When
// no chip has a temperature, the thermal zones stand in (a Raspberry Pi's "cpu-thermal", ACPI's "acpitz").
HwmonScan scanHwmon(const std::string& root);

// Thermal zones with a usable passive, hot or critical trip point, for the thermal
// state: `limits` come from the trips, `name` is the zone's type.
std::vector<HwmonTemperature> scanTripZones(const std::string& root);

// Millidegrees in a sysfs file as °C; absent when unreadable or not a number.
std::optional<double> readMilliCelsius(const std::string& path);

}  // namespace qm
