#include <gtest/gtest.h>

#include "AppTestContext.h"
#include "SectionTestData.h"
#include "app/sections/EnergyPage.h"
#include "app/sections/MemoryPage.h"
#include "app/sections/MemoryPartsSeries.h"
#include "app/sections/NetworkPage.h"
#include "app/sections/SectionStyle.h"
#include "app/sections/SensorsPage.h"
#include "app/widgets/SeriesChart.h"
#include "fmt/Fmt.h"
#include "fmt/PlatformWording.h"

namespace qm::app {
namespace {

constexpr uint64_t GiB = 1ull << 30;

QString platform(const std::string& text) { return QString::fromStdString(forThisPlatform(text)); }

class MachineSectionTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US", "UTC"); }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }
};

Snapshot machine() {
    Snapshot s;
    s.date = 1000;
    s.memory = {16 * GiB, 6 * GiB, 2 * GiB, GiB, 4 * GiB, 3 * GiB, 0, 0, 38, PressureLevel::normal};
    s.network = {2048, 1 << 20, 3 * GiB / 2, 310ull << 20};
    s.disk = {4096, 8192, 500 * GiB, 120 * GiB};
    s.uptime = 3 * 3600;
    return s;
}

TEST_F(MachineSectionTest, MemoryShowsTheBreakdownAndTheAdvisorFromLearningToAVerdict) {
    test::AppTestContext t;
    t.monitor->apply(machine());
    MemoryPage page(t.context);
    t.monitor->apply(machine());
    page.refresh();
    const QString text = visibleText(&page);
    EXPECT_TRUE(text.contains("9.0 GB of 16 GB used"));
    EXPECT_TRUE(text.contains("Pressure 38% · Normal"));
    EXPECT_TRUE(text.contains("No swap space configured"));
    EXPECT_EQ(page.chart()->series().size(), 5u);
    EXPECT_EQ(page.chart()->series()[0].values.size(), 2u) << "from the figures at hand, then each tick";

    // No history yet, and then 719 minutes: still learning.
    EXPECT_EQ(page.advisorTitle(), QString::fromUtf8("Learning how you work…"));
    EXPECT_EQ(page.advisorText(), platform("After about half a day of normal use, Quillmere will tell you whether 16 "
                                           "GB is enough, or how much to get with your next Mac."));
    page.setAdvisor(Advisor{719, 0, 0, 0});
    EXPECT_EQ(page.advisorTitle(), QString::fromUtf8("Learning how you work…"));

    page.setAdvisor(Advisor{720, 0.005, 1.9 * GiB, 9e9});
    EXPECT_EQ(page.advisorTitle(), "16 GB is plenty for you.");
    EXPECT_EQ(page.advisorText(),
              platform("You almost never run short of memory. More RAM wouldn't make this Mac feel faster."));
    EXPECT_TRUE(visibleText(&page).contains(platform("Based on how you actually use your Mac")));
    EXPECT_TRUE(visibleText(&page).contains("Time under pressure"));

    page.setAdvisor(Advisor{5000, 0.2, 7.0 * GiB, 15e9});
    EXPECT_EQ(page.advisorTitle(), "You'd benefit from more memory.");
    EXPECT_EQ(page.advisorText(), platform("You hit memory pressure 20% of the time and swapped up to 7.0 GB. "
                                           "Consider 32 GB on your next Mac."));
}

TEST_F(MachineSectionTest, TheMemoryChartHasTheBreakdownSinceLaunchWhenOpenedLate) {
    test::AppTestContext t;
    const MemoryPartsSeries sinceLaunch(*t.monitor);
    t.context.memoryParts = &sinceLaunch;
    Snapshot s = machine();
    for (int tick = 0; tick < 200; ++tick) {
        s.memory.cached = static_cast<uint64_t>(tick) * (1u << 20);
        t.monitor->apply(s);
    }
    MemoryPage page(t.context);
    page.refresh();
    ASSERT_EQ(page.chart()->series().size(), 5u);
    const auto& cached = page.chart()->series()[3].values;
    ASSERT_EQ(cached.size(), Monitor::maxPoints) << "as many points as the Monitor keeps";
    EXPECT_EQ(cached.back(), 199.0 * (1u << 20));
    EXPECT_EQ(cached.front(), 20.0 * (1u << 20)) << "the oldest fall off";
    t.monitor->apply(s);
    page.refresh();
    EXPECT_EQ(page.chart()->series()[3].values.size(), Monitor::maxPoints);
}

TEST_F(MachineSectionTest, EnergyTextsFollowTheBatteryAndMarkEstimatedAppFigures) {
    test::AppTestContext t;
    Snapshot s = machine();
    s.systemPower = 5.99;
    EnergyPage page(t.context);
    t.monitor->apply(s);
    page.refresh();
    QString text = visibleText(&page);
    EXPECT_TRUE(text.contains(platform("Sipping power. Your Mac is mostly idle.")));
    EXPECT_TRUE(text.contains("No app is drawing meaningful power right now."));
    EXPECT_TRUE(text.contains("Quillmere saves a summary every minute. Today's totals appear here shortly."));
    EXPECT_TRUE(text.contains("From Quillmere history"));

    s.systemPower = 20.0;
    s.groups = {test::group("proc:ffmpeg", "ffmpeg", ProcessKind::background, {test::process(5, "ffmpeg", 180, GiB)})};
    s.groups[0].power = 14.2;
    s.battery.present = true;
    s.battery.onAC = true;
    s.battery.percent = 80;
    s.battery.healthPercent = 80;
    t.monitor->apply(s);
    page.setTodayTotals({AppTotal{"proc:ffmpeg", "ffmpeg", 3 * 3600 + 7 * 60, 36000, GiB, 0}});
    text = visibleText(&page);
    EXPECT_TRUE(text.contains("Heavy use. Something is working hard; check the list below."));
    EXPECT_TRUE(text.contains("Power source: connected to the adapter"));
    EXPECT_TRUE(text.contains("Battery not charging while plugged in (charge limit)"));
    EXPECT_TRUE(text.contains(platform("Your battery is healthy. Apple considers 80% and above normal.")));
    EXPECT_TRUE(text.contains("3h 7m CPU"));
    EXPECT_TRUE(text.contains("10.0 Wh"));
#ifndef __APPLE__
    EXPECT_TRUE(text.contains(QString::fromUtf8("≈ 14 W"))) << "Linux shares the power out by CPU time";
    EXPECT_TRUE(text.contains("Estimated: each app's share"));
#endif

    // Unplugged: the since-unplugged card first measures, then shares.
    s.battery.onAC = false;
    s.battery.minutesRemaining = 125;
    s.date = 2000;
    t.monitor->apply(s);
    t.monitor->apply(s);
    page.refresh();
    text = visibleText(&page);
    EXPECT_TRUE(text.contains("At this rate your battery lasts about 2h 5m more."));
    EXPECT_TRUE(text.contains("What drained your battery"));
    EXPECT_TRUE(text.contains("Since unplugged at"));
    EXPECT_TRUE(text.contains("100% of the energy your apps used since you unplugged."));
}

TEST_F(MachineSectionTest, SensorsAndNetworkShowTheirFiguresAndAPlainStateWithoutSensors) {
    test::AppTestContext t;
    Snapshot s = machine();
    s.thermal.hasSensors = false;
    t.monitor->apply(s);
    SensorsPage sensors(t.context);
    sensors.refresh();
    QString text = visibleText(&sensors);
    EXPECT_TRUE(text.contains("No temperature sensors"));
    EXPECT_TRUE(text.contains("No fans reported."));
    EXPECT_FALSE(text.contains("Cool")) << "a machine without sensors is not called cool";
    EXPECT_EQ(text.count("No temperature sensors"), 1) << "said once";

    s.thermal.hasSensors = true;
    s.thermal.state = ThermalState::serious;
    s.thermal.sensors = {{"Package id 0", 91.4, SensorReading::Group::cpu},
                         {"Core 3", 88, SensorReading::Group::cpu},
                         {"Composite", 44, SensorReading::Group::storage}};
    s.thermal.fans = {{0, 4200, 1200.0, 5800.0}};
    t.monitor->apply(s);
    sensors.refresh();
    text = visibleText(&sensors);
    EXPECT_FALSE(text.contains("No temperature sensors"));
    EXPECT_TRUE(text.contains("Hot"));
    EXPECT_TRUE(text.contains("<b>CPU</b> &nbsp; <span style=\"color:gray\">max</span> <b>91°</b>"));
    EXPECT_TRUE(text.contains("Storage"));
    EXPECT_TRUE(text.contains("Fan 1 · 4,200 rpm (1,200–5,800)"));

    NetworkPage network(t.context);
    network.refresh();
    text = visibleText(&network);
    EXPECT_TRUE(text.contains("Received 1.5 GB, sent 310 MB since the system started 3h 0m ago."));
    EXPECT_TRUE(text.contains("Startup disk: 120 GB free of 500 GB"));
    EXPECT_TRUE(text.contains("1.0 MB/s"));
    EXPECT_EQ(network.networkChart()->series().size(), 2u);
    EXPECT_EQ(network.networkChart()->series()[0].values.size(), 2u);
    // Equal data does not rebuild the chart.
    const int rebuilds = network.networkChart()->rebuildCount();
    network.refresh();
    EXPECT_EQ(network.networkChart()->rebuildCount(), rebuilds);
}

}  // namespace
}  // namespace qm::app
