#include <gtest/gtest.h>

#include "SensorTestTree.h"
#include "readers/linux/SensorHwmon.h"

namespace qm {
namespace {

using Group = SensorReading::Group;
using testing::fixtureRoot;
using testing::SensorTestTree;

std::vector<std::string> namesOf(const std::vector<SensorChannel>& channels) {
    std::vector<std::string> names;
    for (const auto& c : channels) names.push_back(c.name);
    return names;
}

TEST(SensorHwmon, IntelLaptopGroupsByChipAndReadsMillidegrees) {
    SensorReader reader(std::make_unique<HwmonSensorBackend>(fixtureRoot("intel-laptop")));
    auto full = reader.read(true);
    ASSERT_EQ(full.sensors.size(), 10u);
    EXPECT_EQ(full.sensors[0], (SensorReading{"Package id 0", 52, Group::cpu}));
    EXPECT_EQ(full.sensors[5], (SensorReading{"nvme Composite", 43.85, Group::storage}));
    EXPECT_EQ(full.sensors[8], (SensorReading{"BAT0 temp1", 31, Group::battery}));
    EXPECT_EQ(full.sensors[9], (SensorReading{"acpitz temp1", 27.8, Group::other}));
    EXPECT_DOUBLE_EQ(*full.socTemp, 49.8);
    EXPECT_EQ(full.socMax, 52);
    EXPECT_EQ(full.ssdTemp, 45.85);
    EXPECT_EQ(full.batteryTemp, 31);
    EXPECT_FALSE(full.gpuTemp);
    EXPECT_EQ(full.fans, (std::vector<FanReading>{{0, 2480, std::nullopt, std::nullopt}}));
    EXPECT_EQ(full.state, ThermalState::nominal);

    auto light = reader.read(false);
    std::vector<std::string> names;
    for (const auto& s : light.sensors) names.push_back(s.name);
    EXPECT_EQ(names, (std::vector<std::string>{"Package id 0", "Core 0", "Core 1", "Core 2"}));
    EXPECT_TRUE(light.fans.empty());
}

TEST(SensorHwmon, AMDDesktopKeepsMotherboardGuessesOutOfTheCPUGroup) {
    HwmonSensorBackend backend(fixtureRoot("amd-desktop"));
    EXPECT_EQ(namesOf(backend.channels()),
              (std::vector<std::string>{"Tctl", "Tccd1", "Tccd2", "amdgpu edge", "amdgpu junction", "amdgpu mem",
                                        "spd5118 temp1", "nvme Composite", "nvme Sensor 1", "nct6798 SYSTIN",
                                        "nct6798 CPUTIN", "nct6798 AUXTIN0", "nct6798 PECI Agent 0 Calibration"}));
    EXPECT_EQ(backend.channels()[3].group, Group::gpu);
    EXPECT_EQ(backend.channels()[6].group, Group::memory);
    EXPECT_EQ(backend.channels()[10].group, Group::other);  // CPUTIN: a k10temp is present

    SensorReader reader(std::make_unique<HwmonSensorBackend>(fixtureRoot("amd-desktop")));
    auto stats = reader.read(true);
    EXPECT_EQ(stats.sensors.size(), 12u);  // AUXTIN0 reads −62 °C
    EXPECT_DOUBLE_EQ(*stats.socTemp, 62.5);
    EXPECT_EQ(stats.socMax, 67.25);
    EXPECT_EQ(stats.gpuTemp, 52);
    ASSERT_EQ(stats.fans.size(), 4u);
    EXPECT_EQ(stats.fans[0], (FanReading{0, 0, 0, 3300}));  // a GPU fan parked while cool
    EXPECT_EQ(stats.fans[2], (FanReading{2, 1180, 0, std::nullopt}));
}

TEST(SensorHwmon, ThermalZonesStandInWithoutHwmon) {
    SensorReader reader(std::make_unique<HwmonSensorBackend>(fixtureRoot("laptop-on-battery")));
    auto stats = reader.read(true);
    // acpitz reads −44 °C on this machine and is dropped.
    EXPECT_EQ(stats.sensors, (std::vector<SensorReading>{{"bcm2835_thermal", 49.925, Group::cpu}}));
    EXPECT_EQ(stats.socTemp, 49.925);
    EXPECT_TRUE(stats.fans.empty());
}

TEST(SensorHwmon, MachineWithoutSensorsGivesNothing) {
    SensorTestTree empty;
    SensorReader reader(std::make_unique<HwmonSensorBackend>(empty.root()));
    auto stats = reader.read(true);
    EXPECT_TRUE(stats.sensors.empty());
    EXPECT_TRUE(stats.fans.empty());
    EXPECT_FALSE(stats.socTemp);
    EXPECT_EQ(stats.state, ThermalState::nominal);
    EXPECT_FALSE(stats.hasSensors) << "so nothing calls it cool";

    SensorReader nowhere(std::make_unique<HwmonSensorBackend>("/nonexistent/qm-root"));
    ThermalStats nothing;
    nothing.hasSensors = false;
    EXPECT_EQ(nowhere.read(false), nothing);
}

TEST(SensorHwmon, VanishedBrokenAndAbsurdFilesAreSkippedEachRead) {
    SensorTestTree tree("amd-desktop");
    SensorReader reader(std::make_unique<HwmonSensorBackend>(tree.root()));
    ASSERT_EQ(reader.read(true).sensors.size(), 12u);

    tree.write("sys/class/hwmon/hwmon1/temp1_input", "n/a");            // Tctl: garbage
    tree.remove("sys/class/hwmon/hwmon1/temp3_input");                  // Tccd1: gone
    tree.makeUnreadable("sys/class/hwmon/hwmon2/temp1_input");          // edge: read error
    tree.write("sys/class/hwmon/hwmon2/temp2_input", "1000000000000");  // junction: 1e9 °C
    tree.write("sys/class/hwmon/hwmon0/temp1_input", "-273150");        // Composite
    tree.remove("sys/class/hwmon/hwmon3/fan2_input");
    auto stats = reader.read(true);

    std::vector<std::string> names;
    for (const auto& s : stats.sensors) names.push_back(s.name);
    EXPECT_EQ(names,
              (std::vector<std::string>{"Tccd2", "amdgpu mem", "spd5118 temp1", "nvme Sensor 1", "nct6798 SYSTIN",
                                        "nct6798 CPUTIN", "nct6798 PECI Agent 0 Calibration"}));
    EXPECT_EQ(stats.socTemp, 58.75);
    std::vector<int64_t> fanNumbers;
    for (const auto& f : stats.fans) fanNumbers.push_back(f.index);
    EXPECT_EQ(fanNumbers, (std::vector<int64_t>{0, 1, 3}));

    tree.write("sys/class/hwmon/hwmon1/temp1_input", "70000");  // back again
    EXPECT_EQ(reader.read(false).sensors.front(), (SensorReading{"Tctl", 70, Group::cpu}));
}

TEST(SensorHwmon, RepeatedNamesAreNumbered) {
    SensorTestTree tree;
    for (int chip : {0, 1}) {
        tree.write("sys/class/hwmon/hwmon" + std::to_string(chip) + "/name", "nvme");
        tree.write("sys/class/hwmon/hwmon" + std::to_string(chip) + "/temp1_input", "40000");
        tree.write("sys/class/hwmon/hwmon" + std::to_string(chip) + "/temp1_label", "Composite");
    }
    HwmonSensorBackend backend(tree.root());
    EXPECT_EQ(namesOf(backend.channels()), (std::vector<std::string>{"nvme Composite", "nvme Composite 2"}));
}

}  // namespace
}  // namespace qm
