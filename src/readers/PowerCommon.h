// Shared by the power readers of both platforms: the property maps the system hands
// out (IOKit dictionaries on macOS, copied into JSON values so they can be written in
// tests), and the whole-machine power fallback.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "core/Snapshot.h"

namespace qm {

// An IOKit-style property dictionary: strings, numbers, booleans, nested dictionaries.
using PropertyMap = nlohmann::json;

// Typed look-ups that give nothing for a missing key or a value of another type
// (never throw). `number` accepts integers and floating values, not booleans.
std::optional<double> propertyNumber(const PropertyMap& map, std::string_view key);
std::optional<bool> propertyBool(const PropertyMap& map, std::string_view key);
std::optional<std::string> propertyString(const PropertyMap& map, std::string_view key);
// The nested dictionary under `key`, or null when there is none.
const PropertyMap* propertyDictionary(const PropertyMap& map, std::string_view key);

// Whole-machine power: the measured value when there is one; otherwise, on battery
// power, what the battery is giving (−batteryPower while it discharges); otherwise
// absent.
std::optional<double> systemPowerOrDischarge(std::optional<double> measured, const BatteryStats& battery);

}  // namespace qm
