#include "readers/BatteryMaps.h"

#include <algorithm>
#include <cmath>

namespace qm {

namespace {

std::optional<int64_t> wholeMinutes(std::optional<double> minutes) {
    // The power-source API reports -1 while it is still estimating.
    if (!minutes || *minutes < 1) return std::nullopt;
    return static_cast<int64_t>(*minutes);
}

// A value in "BatteryData" when present there, else at the top level.
std::optional<double> batteryDataNumber(const PropertyMap& smart, std::string_view key) {
    if (const auto* data = propertyDictionary(smart, "BatteryData"))
        if (auto value = propertyNumber(*data, key)) return value;
    return propertyNumber(smart, key);
}

}  // namespace

BatteryStats batteryFromPowerSources(const std::vector<PropertyMap>& descriptions) {
    BatteryStats battery;
    for (const auto& description : descriptions) {
        if (propertyString(description, "Type") != "InternalBattery") continue;
        battery.present = true;
        const double current = propertyNumber(description, "Current Capacity").value_or(0);
        double max = propertyNumber(description, "Max Capacity").value_or(100);
        if (max <= 0) max = 100;
        battery.percent = current / max * 100.0;
        battery.isCharging = propertyBool(description, "Is Charging").value_or(false);
        battery.onAC = propertyString(description, "Power Source State") == "AC Power";
        auto toFull =
            battery.isCharging ? wholeMinutes(propertyNumber(description, "Time to Full Charge")) : std::nullopt;
        battery.minutesRemaining = toFull ? toFull : wholeMinutes(propertyNumber(description, "Time to Empty"));
        break;
    }
    return battery;
}

PowerReading applySmartBattery(BatteryStats battery, const PropertyMap* smartBattery,
                               std::optional<double> osMaximumCapacity) {
    if (!smartBattery) return {battery, std::nullopt};
    const PropertyMap& smart = *smartBattery;

    if (battery.present) {
        if (auto cycles = propertyNumber(smart, "CycleCount")) battery.cycleCount = static_cast<int64_t>(*cycles);
        if (auto hundredths = propertyNumber(smart, "Temperature"); hundredths && *hundredths > 0)
            battery.temperature = *hundredths / 100.0;

        const auto design = batteryDataNumber(smart, "DesignCapacity");
        auto full = batteryDataNumber(smart, "NominalChargeCapacity");
        if (!full) full = propertyNumber(smart, "AppleRawMaxCapacity");
        if (osMaximumCapacity)
            battery.healthPercent = osMaximumCapacity;
        else if (design && *design > 0 && full)
            battery.healthPercent = std::min(*full / *design * 100.0, 100.0);

        auto amperage = propertyNumber(smart, "InstantAmperage");
        if (!amperage) amperage = propertyNumber(smart, "Amperage");
        if (auto millivolts = propertyNumber(smart, "Voltage"); millivolts && amperage)
            battery.batteryPower = *millivolts * *amperage / 1'000'000.0;

        if (const auto* adapter = propertyDictionary(smart, "AdapterDetails"))
            if (auto watts = propertyNumber(*adapter, "Watts"); watts && *watts > 0) battery.adapterWatts = watts;
    }

    std::optional<double> telemetry;
    if (const auto* data = propertyDictionary(smart, "PowerTelemetryData"))
        if (auto milliwatts = propertyNumber(*data, "SystemLoad");
            milliwatts && *milliwatts > 0 && *milliwatts < 1'000'000)
            telemetry = *milliwatts / 1000.0;
    return {battery, systemPowerOrDischarge(telemetry, battery)};
}

}  // namespace qm
