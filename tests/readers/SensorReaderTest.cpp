#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "readers/SensorGroups.h"
#include "readers/SensorReader.h"

namespace qm {
namespace {

using Group = SensorReading::Group;

TEST(SensorGroups, FirstMatchingRuleWinsCaseInsensitively) {
    EXPECT_EQ(classifySensorName("PMU tdie3"), Group::cpu);
    EXPECT_EQ(classifySensorName("NAND CH0 temp"), Group::storage);
    EXPECT_EQ(classifySensorName("gas gauge battery"), Group::battery);
    EXPECT_EQ(classifySensorName("GPU MTR Temp Sensor1"), Group::gpu);  // "mtr" would say CPU
    EXPECT_EQ(classifySensorName("PMU2 TP1s"), Group::other);
    EXPECT_EQ(classifySensorName("SOC MTR Temp Sensor0"), Group::cpu);
    EXPECT_EQ(classifySensorName("pACC MTR Temp Sensor2"), Group::cpu);
    EXPECT_EQ(classifySensorName("DRAM Proximity"), Group::memory);
    EXPECT_EQ(classifySensorName("gfx disk"), Group::gpu);         // gpu before storage
    EXPECT_EQ(classifySensorName("SSD battery"), Group::storage);  // storage before battery
    EXPECT_EQ(classifySensorName("Battery mem"), Group::battery);  // battery before memory
    EXPECT_EQ(classifySensorName("mem soc"), Group::memory);       // memory before cpu
    EXPECT_EQ(classifySensorName(""), Group::other);
}

TEST(SensorLightList, AtMostFourEvenlySpread) {
    using V = std::vector<size_t>;
    EXPECT_EQ(lightListPositions(0), V{});
    EXPECT_EQ(lightListPositions(2), (V{0, 1}));
    EXPECT_EQ(lightListPositions(4), (V{0, 1, 2, 3}));
    EXPECT_EQ(lightListPositions(7), (V{0, 1, 2, 3}));
    EXPECT_EQ(lightListPositions(8), (V{0, 2, 4, 6}));
    EXPECT_EQ(lightListPositions(12), (V{0, 3, 6, 9}));
    EXPECT_EQ(lightListPositions(15), (V{0, 3, 6, 9}));
}

TEST(SensorFilter, OnlyStrictlyBetweenOneAndOneThirty) {
    EXPECT_FALSE(isPlausibleTemperature(0.5));
    EXPECT_FALSE(isPlausibleTemperature(1.0));
    EXPECT_TRUE(isPlausibleTemperature(1.01));
    EXPECT_TRUE(isPlausibleTemperature(129.9));
    EXPECT_FALSE(isPlausibleTemperature(130.0));
    EXPECT_FALSE(isPlausibleTemperature(-273.15));
    EXPECT_FALSE(isPlausibleTemperature(1e9));
    EXPECT_FALSE(isPlausibleTemperature(std::nan("")));
}

// A backend with scripted channels and values; counts what was asked of it.
struct FakeBackend : SensorBackend {
    std::vector<SensorChannel> list;
    std::map<size_t, double> values;  // missing index: the service gives no event
    std::vector<FanReading> fans{{0, 1200, 1000, 5000}};
    std::vector<size_t> asked;
    int fanReads = 0;

    const std::vector<SensorChannel>& channels() const override { return list; }
    std::optional<double> readTemperature(size_t index) override {
        asked.push_back(index);
        auto it = values.find(index);
        return it == values.end() ? std::nullopt : std::optional<double>(it->second);
    }
    std::vector<FanReading> readFans() override {
        ++fanReads;
        return fans;
    }
    ThermalState thermalState() override { return ThermalState::fair; }
};

TEST(SensorReader, LightReadTakesSpreadCPUSensorsOnlyAndNoFans) {
    auto backend = std::make_unique<FakeBackend>();
    // Twelve CPU sensors interleaved with others: the light list is CPU positions 0, 3, 6, 9.
    for (int i = 0; i < 12; ++i) {
        backend->list.push_back({"pACC " + std::to_string(i), Group::cpu});
        backend->list.push_back({"GPU " + std::to_string(i), Group::gpu});
        backend->values[static_cast<size_t>(2 * i)] = 40 + i;
        backend->values[static_cast<size_t>(2 * i + 1)] = 30;
    }
    auto* fake = backend.get();
    SensorReader reader(std::move(backend));
    EXPECT_EQ(reader.lightChannels(), (std::vector<size_t>{0, 6, 12, 18}));

    auto light = reader.read(false);
    EXPECT_EQ(fake->asked, (std::vector<size_t>{0, 6, 12, 18}));
    ASSERT_EQ(light.sensors.size(), 4u);
    EXPECT_EQ(light.sensors[1], (SensorReading{"pACC 3", 43, Group::cpu}));
    EXPECT_EQ(light.state, ThermalState::fair);
    EXPECT_DOUBLE_EQ(*light.socTemp, (40 + 43 + 46 + 49) / 4.0);
    EXPECT_EQ(light.socMax, 49);
    EXPECT_FALSE(light.gpuTemp);  // GPU sensors are not on the light list
    EXPECT_TRUE(light.fans.empty());
    EXPECT_EQ(fake->fanReads, 0);

    auto full = reader.read(true);
    EXPECT_EQ(full.sensors.size(), 24u);
    EXPECT_EQ(full.gpuTemp, 30);
    EXPECT_EQ(full.fans.size(), 1u);
    EXPECT_EQ(fake->fanReads, 1);
}

TEST(SensorReader, DropsImplausibleAndMissingReadingsAndSummarisesGroups) {
    auto backend = std::make_unique<FakeBackend>();
    backend->list = {{"Tdie 1", Group::cpu},      {"Tdie 2", Group::cpu},        {"Tdie 3", Group::cpu},
                     {"Tdie 4", Group::cpu},      {"NAND a", Group::storage},    {"NAND b", Group::storage},
                     {"Battery", Group::battery}, {"gas gauge", Group::battery}, {"TP0", Group::other},
                     {"Tdie 5", Group::cpu}};
    backend->values = {{0, 0.5}, {1, 130.0}, {2, 129.9}, {3, -273.15}, {4, 35},
                       {5, 44},  {6, 30},    {7, 31},    {8, 1e9}};  // index 9 gives no event
    SensorReader reader(std::move(backend));
    auto stats = reader.read(true);

    std::vector<std::string> names;
    for (const auto& s : stats.sensors) names.push_back(s.name);
    EXPECT_EQ(names, (std::vector<std::string>{"Tdie 3", "NAND a", "NAND b", "Battery", "gas gauge"}));
    EXPECT_EQ(stats.socTemp, 129.9);
    EXPECT_EQ(stats.socMax, 129.9);
    EXPECT_EQ(stats.ssdTemp, 44);        // the hottest drive
    EXPECT_EQ(stats.batteryTemp, 30.5);  // the mean of the pack
    EXPECT_FALSE(stats.gpuTemp);
}

TEST(SensorReader, NoCPUReadingLeavesChipFiguresAbsent) {
    auto backend = std::make_unique<FakeBackend>();
    backend->list = {{"Tdie 1", Group::cpu}, {"GPU", Group::gpu}};
    backend->values = {{1, 50}};
    SensorReader reader(std::move(backend));
    auto stats = reader.read(false);
    EXPECT_TRUE(stats.sensors.empty());
    EXPECT_FALSE(stats.socTemp);
    EXPECT_FALSE(stats.socMax);

    EXPECT_TRUE(stats.hasSensors) << "sensors that gave nothing this time are still there";
    ThermalStats nothing;
    nothing.hasSensors = false;
    SensorReader none(nullptr);
    EXPECT_EQ(none.read(true), nothing);
}

// A virtual machine: no sensor to read, whatever state the throttle counters give.
TEST(SensorReader, MachineWithoutSensorsSaysSo) {
    auto backend = std::make_unique<FakeBackend>();
    backend->values = {{0, 50}};
    SensorReader reader(std::move(backend));
    EXPECT_FALSE(reader.read(true).hasSensors);
}

}  // namespace
}  // namespace qm
