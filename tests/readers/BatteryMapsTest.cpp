#include <gtest/gtest.h>

#include "readers/BatteryMaps.h"

namespace qm {
namespace {

using json = nlohmann::json;

const json ups = {{"Type", "UPS"}, {"Current Capacity", 10}, {"Max Capacity", 100}};

json internal(json extra = json::object()) {
    json d = {{"Type", "InternalBattery"},
              {"Current Capacity", 78},
              {"Max Capacity", 100},
              {"Is Charging", false},
              {"Power Source State", "Battery Power"},
              {"Time to Empty", 312},
              {"Time to Full Charge", 0}};
    d.update(extra);
    return d;
}

TEST(BatteryMaps, FirstInternalBatteryGivesChargeAndTimes) {
    auto b = batteryFromPowerSources({ups, internal()});
    EXPECT_TRUE(b.present);
    EXPECT_EQ(b.percent, 78);
    EXPECT_FALSE(b.onAC);
    EXPECT_EQ(b.minutesRemaining, 312);

    auto charging = batteryFromPowerSources(
        {internal({{"Is Charging", true}, {"Power Source State", "AC Power"}, {"Time to Full Charge", 45}})});
    EXPECT_TRUE(charging.isCharging);
    EXPECT_TRUE(charging.onAC);
    EXPECT_EQ(charging.minutesRemaining, 45);

    // Still estimating: -1 everywhere.
    auto estimating = batteryFromPowerSources({internal({{"Time to Empty", -1}})});
    EXPECT_FALSE(estimating.minutesRemaining);
    // Charging with no time to full yet falls back to the time to empty.
    auto fallback = batteryFromPowerSources({internal({{"Is Charging", true}, {"Time to Full Charge", -1}})});
    EXPECT_EQ(fallback.minutesRemaining, 312);
}

TEST(BatteryMaps, MaxCapacityMissingOrZeroMeansPercent) {
    json noMax = internal();
    noMax.erase("Max Capacity");
    EXPECT_EQ(batteryFromPowerSources({noMax}).percent, 78);
    EXPECT_EQ(batteryFromPowerSources({internal({{"Max Capacity", 0}})}).percent, 78);
    EXPECT_EQ(batteryFromPowerSources({internal({{"Current Capacity", 3000}, {"Max Capacity", 6000}})}).percent, 50);
    // Wrong value types read as missing, never as a crash.
    EXPECT_EQ(batteryFromPowerSources({internal({{"Max Capacity", "lots"}, {"Is Charging", 1}})}).percent, 78);
}

TEST(BatteryMaps, DesktopHasNoBatteryButTelemetryPower) {
    auto b = batteryFromPowerSources({ups});
    EXPECT_EQ(b, BatteryStats{});
    json smart = {{"PowerTelemetryData", {{"SystemLoad", 14250}}}, {"DesignCapacity", 0}};
    auto reading = applySmartBattery(b, &smart, 91.0);
    EXPECT_EQ(reading.battery, BatteryStats{});  // no health on a machine without a battery
    EXPECT_DOUBLE_EQ(*reading.systemPower, 14.25);
    EXPECT_FALSE(applySmartBattery(b, nullptr, std::nullopt).systemPower);
}

json smartBattery(json extra = json::object()) {
    json s = {{"CycleCount", 187},
              {"Temperature", 3050},
              {"Voltage", 12500},
              {"InstantAmperage", -1200},
              {"Amperage", -999},
              {"DesignCapacity", 9000},
              {"NominalChargeCapacity", 9999},
              {"AppleRawMaxCapacity", 7000},
              {"BatteryData", {{"DesignCapacity", 8000}, {"NominalChargeCapacity", 7200}}},
              {"AdapterDetails", {{"Watts", 0}}},
              {"PowerTelemetryData", {{"SystemLoad", 0}}}};
    s.update(extra);
    return s;
}

TEST(BatteryMaps, SmartBatteryFigures) {
    auto base = batteryFromPowerSources({internal()});
    json smart = smartBattery();
    auto r = applySmartBattery(base, &smart, std::nullopt);
    EXPECT_EQ(r.battery.cycleCount, 187);
    EXPECT_DOUBLE_EQ(*r.battery.temperature, 30.5);
    EXPECT_DOUBLE_EQ(*r.battery.healthPercent, 90);  // BatteryData wins: 7200 / 8000
    EXPECT_DOUBLE_EQ(*r.battery.batteryPower, -15);  // 12.5 V × −1.2 A
    EXPECT_FALSE(r.battery.adapterWatts);            // 0 W is no adapter
    EXPECT_DOUBLE_EQ(*r.systemPower, 15);            // SystemLoad 0: the discharge instead

    // The operating system's own report beats the ratio.
    EXPECT_EQ(applySmartBattery(base, &smart, 87.0).battery.healthPercent, 87);

    // Top-level capacities, then the raw maximum; capped at 100.
    json topLevel = smartBattery();
    topLevel.erase("BatteryData");
    topLevel.erase("NominalChargeCapacity");
    EXPECT_NEAR(*applySmartBattery(base, &topLevel, std::nullopt).battery.healthPercent, 77.78, 0.01);
    json fresh = smartBattery({{"BatteryData", {{"DesignCapacity", 8000}, {"NominalChargeCapacity", 8400}}}});
    EXPECT_EQ(applySmartBattery(base, &fresh, std::nullopt).battery.healthPercent, 100);
}

TEST(BatteryMaps, FallbacksAndAbsences) {
    auto base = batteryFromPowerSources({internal()});
    json zeroDesign = smartBattery({{"BatteryData", {{"DesignCapacity", 0}}}, {"DesignCapacity", 0}});
    EXPECT_FALSE(applySmartBattery(base, &zeroDesign, std::nullopt).battery.healthPercent);
    EXPECT_EQ(applySmartBattery(base, &zeroDesign, 95.0).battery.healthPercent, 95);

    json cold = smartBattery({{"Temperature", 0}, {"InstantAmperage", nullptr}, {"AdapterDetails", {{"Watts", 96}}}});
    auto r = applySmartBattery(base, &cold, std::nullopt);
    EXPECT_FALSE(r.battery.temperature);
    EXPECT_DOUBLE_EQ(*r.battery.batteryPower, -12.4875);  // "Amperage" when the instant one is missing
    EXPECT_EQ(r.battery.adapterWatts, 96);

    // SystemLoad out of range: on battery the discharge, on mains nothing.
    json huge = smartBattery({{"PowerTelemetryData", {{"SystemLoad", 1000000}}}});
    EXPECT_DOUBLE_EQ(*applySmartBattery(base, &huge, std::nullopt).systemPower, 15);
    auto plugged = batteryFromPowerSources({internal({{"Power Source State", "AC Power"}})});
    EXPECT_FALSE(applySmartBattery(plugged, &huge, std::nullopt).systemPower);
    json good = smartBattery({{"PowerTelemetryData", {{"SystemLoad", 999999}}}});
    EXPECT_DOUBLE_EQ(*applySmartBattery(plugged, &good, std::nullopt).systemPower, 999.999);

    // No smart-battery entry: registry figures and system power absent.
    auto none = applySmartBattery(base, nullptr, 90.0);
    EXPECT_EQ(none.battery, base);
    EXPECT_FALSE(none.systemPower);
}

}  // namespace
}  // namespace qm
