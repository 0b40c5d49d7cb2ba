// Battery and adapter figures from Linux power_supply entries. Each entry is read as
// its key=value properties (the "uevent" file, or the attribute files one by one)
// and handed here as a map; everything after that is pure.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Platform.h"

namespace qm {

// Property names in lower case without the "POWER_SUPPLY_" prefix: "type", "status",
// "capacity", "energy_now", "charge_full", "power_now", "online", ... Values as the
// kernel prints them (micro-units: µWh, µAh, µW, µA, µV; temp in tenths of °C).
using SupplyProperties = std::map<std::string, std::string>;

// Parses a power_supply "uevent" file ("POWER_SUPPLY_CAPACITY=85" lines). Lines that
// are not key=value are skipped.
SupplyProperties parseSupplyUevent(std::string_view text);

// The battery record from every supply of the machine: system batteries (type
// "Battery", not a peripheral's "scope" of "Device", not marked absent) are combined;
// adapters (Mains, USB and the like) decide onAC and adapterWatts. With no system
// battery, the default record (not present, on external power).
BatteryStats batteryFromSupplies(const std::vector<SupplyProperties>& supplies);

// Minutes to empty (discharging) or to full (charging) from stored energy and the
// rate of flow, both in the same units (Wh and W), to the nearest minute. Absent when the rate is not
// positive, the status is neither, or the estimate is under a minute or over two
// days (a near-zero rate reading, not a real prediction).
std::optional<int64_t> estimateMinutes(bool charging, double now, double full, double rate);

}  // namespace qm
