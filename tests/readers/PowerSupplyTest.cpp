#include <gtest/gtest.h>

#include "readers/PowerSupply.h"

namespace qm {
namespace {

SupplyProperties battery(std::initializer_list<std::pair<const std::string, std::string>> extra) {
    SupplyProperties p{{"type", "Battery"}, {"present", "1"}};
    for (const auto& [k, v] : extra) p[k] = v;
    return p;
}
const SupplyProperties mainsOnline{{"type", "Mains"}, {"online", "1"}};
const SupplyProperties mainsOffline{{"type", "Mains"}, {"online", "0"}};

TEST(PowerSupply, ParsesUeventKeys) {
    auto p = parseSupplyUevent(
        "POWER_SUPPLY_NAME=BAT0\nPOWER_SUPPLY_STATUS=Not charging\n"
        "garbage line\n=x\nPOWER_SUPPLY_ENERGY_NOW=40730000\r\n");
    EXPECT_EQ(p.size(), 3u);
    EXPECT_EQ(p["status"], "Not charging");
    EXPECT_EQ(p["energy_now"], "40730000");
    EXPECT_TRUE(parseSupplyUevent("").empty());
}

TEST(PowerSupply, DischargingEnergyBattery) {
    auto stats = batteryFromSupplies({mainsOffline, battery({{"status", "Discharging"},
                                                             {"capacity", "85"},
                                                             {"energy_now", "40730000"},
                                                             {"energy_full", "47390000"},
                                                             {"energy_full_design", "47520000"},
                                                             {"power_now", "5064000"},
                                                             {"cycle_count", "0"}})});
    EXPECT_TRUE(stats.present);
    EXPECT_EQ(stats.percent, 85);
    EXPECT_FALSE(stats.isCharging);
    EXPECT_FALSE(stats.onAC);
    EXPECT_EQ(stats.minutesRemaining, 483);  // 40.73 Wh at 5.064 W
    EXPECT_NEAR(*stats.healthPercent, 99.73, 0.01);
    EXPECT_FALSE(stats.cycleCount);  // 0: firmware that does not count
    EXPECT_DOUBLE_EQ(*stats.batteryPower, -5.064);
    EXPECT_FALSE(stats.adapterWatts);
}

TEST(PowerSupply, ChargingChargeBatteryConvertsWithVoltage) {
    auto stats = batteryFromSupplies({mainsOnline, battery({{"status", "Charging"},
                                                            {"charge_now", "1800000"},
                                                            {"charge_full", "3600000"},
                                                            {"charge_full_design", "4000000"},
                                                            {"current_now", "1500000"},
                                                            {"voltage_now", "12000000"},
                                                            {"cycle_count", "212"},
                                                            {"temp", "312"}})});
    EXPECT_EQ(stats.percent, 50);  // no capacity file: charge now / full
    EXPECT_TRUE(stats.isCharging);
    EXPECT_TRUE(stats.onAC);
    EXPECT_EQ(stats.minutesRemaining, 72);  // 21.6 Wh to go at 18 W
    EXPECT_DOUBLE_EQ(*stats.healthPercent, 90);
    EXPECT_EQ(stats.cycleCount, 212);
    EXPECT_DOUBLE_EQ(*stats.temperature, 31.2);
    EXPECT_DOUBLE_EQ(*stats.batteryPower, 18);
}

TEST(PowerSupply, CapacityFallsBackToEnergiesThenDesignThenZero) {
    EXPECT_EQ(batteryFromSupplies({battery({{"energy_now", "30"}, {"energy_full", "60"}})}).percent, 50);
    EXPECT_EQ(batteryFromSupplies(
                  {battery({{"energy_now", "30"}, {"energy_full", "0"}, {"energy_full_design", "120"}})})
                  .percent,
              25);
    EXPECT_EQ(batteryFromSupplies({battery({{"energy_now", "30"}})}).percent, 0);
    EXPECT_EQ(batteryFromSupplies({battery({{"capacity", "104"}})}).percent, 100);
    EXPECT_EQ(
        batteryFromSupplies({battery({{"capacity", "garbage"}, {"energy_now", "1"}, {"energy_full", "4"}})}).percent,
        25);
}

TEST(PowerSupply, MissingOrZeroFiguresStayAbsent) {
    // Zero design capacity, no power reading, no voltage for the charge counters.
    auto stats = batteryFromSupplies({battery({{"status", "Discharging"},
                                               {"energy_now", "40000000"},
                                               {"energy_full", "45000000"},
                                               {"energy_full_design", "0"}})});
    EXPECT_FALSE(stats.healthPercent);
    EXPECT_FALSE(stats.minutesRemaining);
    EXPECT_FALSE(stats.batteryPower);
    EXPECT_FALSE(stats.onAC);  // no adapter entry: the battery's status decides

    auto noVolts = batteryFromSupplies({battery({{"status", "Discharging"},
                                                 {"charge_now", "2000000"},
                                                 {"charge_full", "4000000"},
                                                 {"current_now", "-1000000"}})});
    EXPECT_EQ(noVolts.minutesRemaining, 120);  // charge over current needs no voltage
    EXPECT_FALSE(noVolts.batteryPower);        // watts do

    auto idle = batteryFromSupplies(
        {battery({{"status", "Discharging"}, {"energy_now", "40000000"}, {"power_now", "0"}, {"temp", "-2731"}})});
    EXPECT_FALSE(idle.minutesRemaining);
    EXPECT_FALSE(idle.temperature);
    EXPECT_EQ(idle.batteryPower, 0);
}

TEST(PowerSupply, EstimatesNeedAPlausibleRate) {
    EXPECT_EQ(estimateMinutes(false, 40, 50, 10), 240);
    EXPECT_EQ(estimateMinutes(true, 40, 50, 10), 60);
    EXPECT_FALSE(estimateMinutes(true, 50, 50, 10));  // full
    EXPECT_FALSE(estimateMinutes(false, 40, 50, 0));
    EXPECT_FALSE(estimateMinutes(false, 40, 50, -3));
    EXPECT_FALSE(estimateMinutes(false, 40, 50, 0.001));  // 40 000 h
    EXPECT_FALSE(estimateMinutes(false, 0.01, 50, 10));   // under a minute
}

TEST(PowerSupply, DriverTimesWinAndHeldChargeHasNoEstimate) {
    auto reported = batteryFromSupplies({mainsOffline, battery({{"status", "Discharging"},
                                                                {"energy_now", "40000000"},
                                                                {"power_now", "10000000"},
                                                                {"time_to_empty_now", "7200"}})});
    EXPECT_EQ(reported.minutesRemaining, 120);
    auto held = batteryFromSupplies(
        {mainsOnline,
         battery({{"status", "Not charging"}, {"capacity", "80"}, {"energy_now", "40000000"}, {"power_now", "0"}})});
    EXPECT_FALSE(held.isCharging);
    EXPECT_TRUE(held.onAC);
    EXPECT_FALSE(held.minutesRemaining);
}

TEST(PowerSupply, AdaptersPeripheralsAndSeveralPacks) {
    // No battery at all: a desktop, on mains.
    auto desktop = batteryFromSupplies({});
    EXPECT_EQ(desktop, BatteryStats{});

    // A mouse's battery is not the machine's.
    SupplyProperties mouse = battery({{"scope", "Device"}, {"status", "Discharging"}, {"capacity", "40"}});
    EXPECT_FALSE(batteryFromSupplies({mouse}).present);

    // An emptied bay is not a battery.
    EXPECT_FALSE(batteryFromSupplies({battery({{"present", "0"}})}).present);

    // A USB-C charger advertises its contract; an offline one counts for nothing.
    SupplyProperties usbc{{"type", "USB"}, {"online", "1"}, {"voltage_max", "20000000"}, {"current_max", "3250000"}};
    auto charging = batteryFromSupplies({mainsOffline, usbc, battery({{"status", "Charging"}, {"capacity", "60"}})});
    EXPECT_TRUE(charging.onAC);
    EXPECT_DOUBLE_EQ(*charging.adapterWatts, 65);

    // A charging battery proves an adapter even when the adapter entry lags behind.
    EXPECT_TRUE(batteryFromSupplies({mainsOffline, battery({{"status", "Charging"}})}).onAC);

    // Two packs read as one.
    auto both = batteryFromSupplies({battery({{"status", "Unknown"},
                                              {"capacity", "100"},
                                              {"energy_now", "20000000"},
                                              {"energy_full", "20000000"},
                                              {"energy_full_design", "24000000"},
                                              {"power_now", "0"}}),
                                     battery({{"status", "Discharging"},
                                              {"capacity", "50"},
                                              {"energy_now", "10000000"},
                                              {"energy_full", "20000000"},
                                              {"energy_full_design", "24000000"},
                                              {"power_now", "10000000"}}),
                                     mainsOffline});
    EXPECT_DOUBLE_EQ(both.percent, 75);
    EXPECT_FALSE(both.onAC);
    EXPECT_EQ(both.minutesRemaining, 180);  // 30 Wh at 10 W
    EXPECT_NEAR(*both.healthPercent, 83.33, 0.01);
    EXPECT_DOUBLE_EQ(*both.batteryPower, -10);
}

}  // namespace
}  // namespace qm
