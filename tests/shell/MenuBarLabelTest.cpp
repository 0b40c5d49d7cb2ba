#include "shell/MenuBarLabel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "core/Defaults.h"
#include "fmt/Fmt.h"
#include "shell/StatusBarOutput.h"

#include <nlohmann/json.hpp>

namespace qm {
namespace {

using Lines = std::vector<std::string>;

class MenuBarLabelTest : public ::testing::Test {
protected:
    void SetUp() override {
        Fmt::setLocaleForTesting("en_US", "UTC");
        snapshot.cpu.total = 37.4;
        snapshot.memory.total = 16ull << 30;
        snapshot.memory.app = 6ull << 30;
        snapshot.memory.wired = 2ull << 30;
        snapshot.memory.compressed = 1ull << 30;
        snapshot.memory.cached = 5ull << 30;  // cached memory is not "used"
        snapshot.thermal.socTemp = 51.6;
        snapshot.systemPower = 4.72;
    }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }

    AppGroup groupWithPower(std::optional<double> power) {
        AppGroup g;
        g.id = "proc:x";
        g.power = power;
        return g;
    }

    Snapshot snapshot;
};

TEST_F(MenuBarLabelTest, EachStyleShowsItsLines) {
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::icon).lines, Lines{});
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::cpu).lines, Lines{"37%"});
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::cpuMemory).lines, (Lines{"CPU 37%", "MEM 56%"}));
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::temperature).lines, Lines{"52\u00B0"});
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::power).lines, Lines{"4.7 W"});

    // The icon style has no figures, but its tooltip still does.
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::icon).tooltip, "Quillmere: CPU 37%, memory normal");
    snapshot.memory.pressureLevel = PressureLevel::warning;
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::icon).tooltip, "Quillmere: CPU 37%, memory elevated");

    snapshot.thermal.socTemp.reset();
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::temperature).lines, Lines{"\u2014"});
}

TEST_F(MenuBarLabelTest, MemoryShareWithoutATotalIsZero) {
    snapshot.memory = MemoryStats{};
    snapshot.memory.app = 5;  // nonsense from a failed read must not divide by zero
    EXPECT_EQ(memoryShare(snapshot.memory), 0);
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::cpuMemory).lines.at(1), "MEM 0%");
}

TEST_F(MenuBarLabelTest, PowerFallsBackToTheGroupsThenToAbsent) {
    snapshot.groups = {groupWithPower(1.5), groupWithPower(std::nullopt), groupWithPower(0.25)};
    EXPECT_EQ(menuBarPower(snapshot), 4.72);  // the system reading wins

    snapshot.systemPower.reset();
    EXPECT_EQ(menuBarPower(snapshot), 1.75);
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::power).lines, Lines{"1.8 W"});

    snapshot.groups = {groupWithPower(std::nullopt)};
    EXPECT_EQ(menuBarPower(snapshot), std::nullopt);
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::power).lines, Lines{"\u2014"});

    snapshot.groups = {groupWithPower(0.0)};  // a real zero is not "no reading"
    EXPECT_EQ(menuBarLabel(snapshot, MenuBarStyle::power).lines, Lines{"0 W"});
}

TEST_F(MenuBarLabelTest, AlertOnSeriousHeatOrCriticalPressure) {
    snapshot.thermal.state = ThermalState::fair;
    snapshot.memory.pressureLevel = PressureLevel::warning;
    EXPECT_FALSE(menuBarLabel(snapshot, MenuBarStyle::cpu).alert);
    snapshot.thermal.state = ThermalState::serious;
    EXPECT_TRUE(menuBarLabel(snapshot, MenuBarStyle::cpu).alert);
    snapshot.thermal.state = ThermalState::critical;
    EXPECT_TRUE(menuBarAlert(snapshot));
    snapshot.thermal.state = ThermalState::nominal;
    snapshot.memory.pressureLevel = PressureLevel::critical;
    EXPECT_TRUE(menuBarAlert(snapshot));
}

TEST_F(MenuBarLabelTest, RedrawsOnlyWhenLinesOrAlertChange) {
    MenuBarLabelUpdater updater;
    ASSERT_TRUE(updater.update(snapshot, MenuBarStyle::cpu, false));
    snapshot.cpu.total = 37.2;  // still reads 37%
    EXPECT_FALSE(updater.update(snapshot, MenuBarStyle::cpu, false));
    EXPECT_TRUE(updater.update(snapshot, MenuBarStyle::cpu, true));
    snapshot.memory.pressureLevel = PressureLevel::critical;
    auto drawn = updater.update(snapshot, MenuBarStyle::cpu, false);
    ASSERT_TRUE(drawn);
    EXPECT_TRUE(drawn->alert);
    EXPECT_TRUE(updater.update(snapshot, MenuBarStyle::cpuMemory, false));  // a style change redraws
}

TEST_F(MenuBarLabelTest, StatusBarOutputsOneLineAndWaybarsFields) {
    StatusBarReading two = statusBarReading(snapshot, MenuBarStyle::cpuMemory);
    EXPECT_EQ(plainStatusBarOutput(two), "CPU 37% MEM 56%\n");  // one line: polybar shows the last one
    auto json = nlohmann::json::parse(waybarOutput(two));
    EXPECT_EQ(json["text"], "CPU 37% MEM 56%");
    EXPECT_EQ(json["alt"], "cpuMemory");
    EXPECT_EQ(json["tooltip"], "Quillmere: CPU 37%, memory normal");
    EXPECT_EQ(json["class"], "normal");
    EXPECT_EQ(json["percentage"], 37);

    // The icon style prints its glyph, so the module never disappears.
    StatusBarReading icon = statusBarReading(snapshot, MenuBarStyle::icon);
    EXPECT_EQ(plainStatusBarOutput(icon), "\u25C9\n");
    EXPECT_EQ(nlohmann::json::parse(waybarOutput(icon))["text"], "\u25C9");

    icon.label.tooltip = "bad \xff byte";  // never throws, always one line
    std::string odd = waybarOutput(icon);
    EXPECT_EQ(std::count(odd.begin(), odd.end(), '\n'), 1);
}

TEST_F(MenuBarLabelTest, StatusBarLevelRisesWithCPUPressureOrHeat) {
    EXPECT_EQ(statusBarLevel(snapshot), "normal");
    snapshot.cpu.total = 70;
    EXPECT_EQ(statusBarLevel(snapshot), "warning");
    snapshot.cpu.total = 100;  // a machine flat out is worth a red module on its own
    EXPECT_EQ(statusBarLevel(snapshot), "critical");
    EXPECT_EQ(statusBarReading(snapshot, MenuBarStyle::cpu).percentage, 100);

    snapshot.cpu.total = 5;
    snapshot.memory.pressureLevel = PressureLevel::warning;
    EXPECT_EQ(statusBarLevel(snapshot), "warning");
    snapshot.memory.pressureLevel = PressureLevel::critical;
    EXPECT_EQ(statusBarLevel(snapshot), "critical");

    snapshot.memory.pressureLevel = PressureLevel::normal;
    snapshot.thermal.state = ThermalState::fair;
    EXPECT_EQ(statusBarLevel(snapshot), "warning");
    snapshot.thermal.state = ThermalState::serious;
    EXPECT_EQ(statusBarLevel(snapshot), "critical");

    snapshot.thermal.state = ThermalState::nominal;
    snapshot.cpu.total = std::nan("");  // a failed read never gives a nonsense percentage
    EXPECT_EQ(statusBarReading(snapshot, MenuBarStyle::cpu).percentage, 0);
}

TEST(MenuBarStyleTest, RawValuesRoundTripAndUnknownFallsBackToCPU) {
    for (MenuBarStyle style : allMenuBarStyles) EXPECT_EQ(menuBarStyleFromRaw(rawValue(style)), style);
    EXPECT_EQ(menuBarStyleFromRaw("CPU"), std::nullopt);
    EXPECT_EQ(title(MenuBarStyle::cpuMemory), "CPU + Memory");

    MemoryDefaults defaults;
    EXPECT_EQ(menuBarStyle(defaults), MenuBarStyle::cpu);
    defaults.set("menuBar.style", std::string("temperature"));
    EXPECT_EQ(menuBarStyle(defaults), MenuBarStyle::temperature);
    defaults.set("menuBar.style", std::string("sparkles"));
    EXPECT_EQ(menuBarStyle(defaults), MenuBarStyle::cpu);
    defaults.set("menuBar.style", int64_t{2});
    EXPECT_EQ(menuBarStyle(defaults), MenuBarStyle::cpu);
}

}  // namespace
}  // namespace qm
