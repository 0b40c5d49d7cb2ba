#include <gtest/gtest.h>

#include "SensorTestTree.h"
#include "readers/ThermalState.h"
#include "readers/linux/ThermalLinux.h"

namespace qm {
namespace {

using testing::SensorTestTree;

TEST(ThermalState, LevelsAgainstTheSensorsLimits) {
    const ThermalLimits coretemp{100, 100};  // Intel gives max = crit = TjMax
    EXPECT_EQ(thermalStateFor(79.9, coretemp), ThermalState::nominal);
    EXPECT_EQ(thermalStateFor(80, coretemp), ThermalState::fair);
    EXPECT_EQ(thermalStateFor(95, coretemp), ThermalState::serious);
    EXPECT_EQ(thermalStateFor(100, coretemp), ThermalState::critical);

    const ThermalLimits zone{70, 95};  // passive and critical trips
    EXPECT_EQ(thermalStateFor(54.9, zone), ThermalState::nominal);
    EXPECT_EQ(thermalStateFor(72, zone), ThermalState::serious);
    EXPECT_EQ(thermalStateFor(96, zone), ThermalState::critical);

    EXPECT_EQ(thermalStateFor(84, {80, std::nullopt}), ThermalState::serious);  // critical taken as 90
    EXPECT_EQ(thermalStateFor(90, {80, std::nullopt}), ThermalState::critical);
    EXPECT_EQ(thermalStateFor(96, {std::nullopt, 100}), ThermalState::serious);  // high taken as 95
}

TEST(ThermalState, ImplausibleLimitsFallBackToDefaults) {
    // A Ryzen at its 95 °C boost target is warm, not throttling.
    EXPECT_EQ(thermalStateFor(95, {}), ThermalState::fair);
    EXPECT_EQ(thermalStateFor(100, {}), ThermalState::serious);
    EXPECT_EQ(thermalStateFor(105, {}), ThermalState::critical);
    // NVMe-style 65 261 °C and "0 means none" are ignored.
    EXPECT_EQ(thermalStateFor(95, {65261.85, 0}), ThermalState::fair);
    EXPECT_EQ(thermalStateFor(60, {0, 0}), ThermalState::nominal);
    EXPECT_EQ(raised(ThermalState::nominal), ThermalState::fair);
    EXPECT_EQ(raised(ThermalState::critical), ThermalState::critical);
}

TEST(ThermalState, ThrottleWatchReportsGrowthOnly) {
    ThrottleWatch watch;
    EXPECT_FALSE(watch.grew({10, 20}));  // first sight
    EXPECT_FALSE(watch.grew({10, 20}));
    EXPECT_TRUE(watch.grew({10, 21}));
    EXPECT_FALSE(watch.grew({10, 21}));
    EXPECT_FALSE(watch.grew({10, 22, 5}));  // a CPU came online: start over
    EXPECT_FALSE(watch.grew({9, 22, 5}));   // a counter reset is not throttling
}

TEST(ThermalState, LinuxFollowsThePackageSensorAndThrottling) {
    SensorTestTree tree("intel-laptop");
    const std::string package = "sys/class/hwmon/hwmon2/temp1_input";
    LinuxThermalMonitor monitor(tree.root());
    EXPECT_EQ(monitor.read(), ThermalState::nominal);

    tree.write(package, "90000");
    EXPECT_EQ(monitor.read(), ThermalState::fair);
    tree.write(package, "96000");
    EXPECT_EQ(monitor.read(), ThermalState::serious);
    tree.write(package, "100000");
    EXPECT_EQ(monitor.read(), ThermalState::critical);

    // Per-core inputs are not watched when the chip has a package reading.
    tree.write(package, "50000");
    tree.write("sys/class/hwmon/hwmon2/temp3_input", "99000");
    EXPECT_EQ(monitor.read(), ThermalState::nominal);

    // Throttling raises the state one level while the counter grows.
    tree.write("sys/devices/system/cpu/cpu0/thermal_throttle/package_throttle_count", "34900");
    tree.write("sys/devices/system/cpu/cpu1/thermal_throttle/package_throttle_count", "34900");
    EXPECT_EQ(monitor.read(), ThermalState::fair);
    EXPECT_EQ(monitor.read(), ThermalState::nominal);

    // A sensor that vanishes or reads garbage leaves the state to the others.
    tree.write(package, "garbage");
    EXPECT_EQ(monitor.read(), ThermalState::nominal);
}

TEST(ThermalState, LinuxUsesZoneTripPoints) {
    SensorTestTree tree;
    tree.write("sys/class/thermal/thermal_zone0/type", "cpu-thermal");
    tree.write("sys/class/thermal/thermal_zone0/temp", "72000");
    tree.write("sys/class/thermal/thermal_zone0/trip_point_0_type", "passive");
    tree.write("sys/class/thermal/thermal_zone0/trip_point_0_temp", "70000");
    tree.write("sys/class/thermal/thermal_zone0/trip_point_1_type", "critical");
    tree.write("sys/class/thermal/thermal_zone0/trip_point_1_temp", "95000");
    tree.write("sys/class/thermal/thermal_zone1/type", "iwlwifi_1");  // no trips: ignored
    tree.write("sys/class/thermal/thermal_zone1/temp", "120000");
    LinuxThermalMonitor monitor(tree.root());
    EXPECT_EQ(monitor.read(), ThermalState::serious);
    tree.write("sys/class/thermal/thermal_zone0/temp", "50000");
    EXPECT_EQ(monitor.read(), ThermalState::nominal);

    LinuxThermalMonitor nothing("/nonexistent/qm-root");
    EXPECT_EQ(nothing.read(), ThermalState::nominal);
}

}  // namespace
}  // namespace qm
