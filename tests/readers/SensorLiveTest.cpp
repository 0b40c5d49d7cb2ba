#include <gtest/gtest.h>

#include "core/FileRead.h"
#include "core/Paths.h"
#include "readers/SensorReader.h"
#include "readers/Sources.h"

namespace qm {
namespace {

// This machine, whatever it is: readings within honest bounds, and nothing invented
// where it has nothing.
TEST(SensorLive, ThisMachineReadsWithinBounds) {
    auto thermal = makeSensorSource()->read(true);
    for (const auto& reading : thermal.sensors) {
        EXPECT_TRUE(isPlausibleTemperature(reading.value)) << reading.name;
    }
    for (const auto& fan : thermal.fans) {
        EXPECT_GE(fan.rpm, 0);
    }
    if (!pathExists(systemRoot() + "/sys/class/hwmon") && !pathExists(systemRoot() + "/sys/class/thermal")) {
        EXPECT_TRUE(thermal.sensors.empty());
    }
    const int state = static_cast<int>(readThermalState());
    EXPECT_TRUE(state >= 0 && state <= 3);

    auto power = makePowerSource()->read();
    ASSERT_TRUE(power);
    if (!power->battery.present) {
        EXPECT_EQ(power->battery, BatteryStats{});
    }
    if (power->battery.present) {
        EXPECT_TRUE(power->battery.percent >= 0 && power->battery.percent <= 100);
    }
    if (power->systemPower) {
        EXPECT_GE(*power->systemPower, 0);
    }

    if (auto gpu = makeGPUSource()->read()) {
        EXPECT_TRUE(*gpu >= 0 && *gpu <= 100);
    }
    if (!pathExists(systemRoot() + "/sys/class/drm")) {
        EXPECT_FALSE(makeGPUSource()->read());
    }
}

}  // namespace
}  // namespace qm
