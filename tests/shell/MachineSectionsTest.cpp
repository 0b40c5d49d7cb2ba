#include <gtest/gtest.h>

#include "fmt/Fmt.h"
#include "shell/MachineSections.h"

namespace qm::sections {
namespace {

class MachineSectionsTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US", "UTC"); }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }
};

constexpr uint64_t GiB = 1ull << 30;

TEST_F(MachineSectionsTest, MemoryBreakdownPressureAndSwap) {
    MemoryStats m;
    m.total = 16 * GiB;
    m.app = 6 * GiB;
    m.wired = 2 * GiB;
    m.compressed = GiB;
    m.cached = 4 * GiB;
    m.free = 3 * GiB;
    m.pressure = 38.4;
    m.pressureLevel = PressureLevel::warning;
    const auto parts = memoryParts(m);
    ASSERT_EQ(parts.size(), 5u);
    EXPECT_EQ(parts[0].label, "Apps");
    EXPECT_EQ(parts[4].label, "Free");
    EXPECT_DOUBLE_EQ(parts[0].share, 6.0 / 16);
    EXPECT_EQ(memoryUsedLine(m), "9.0 GB of 16 GB used");
    EXPECT_EQ(pressureLine(m), "Pressure 38% · Elevated");
    EXPECT_EQ(swapLine(m), "No swap space configured");
    m.swapTotal = 4 * GiB;
    EXPECT_EQ(swapLine(m), "No swap in use");
    m.swapUsed = GiB + GiB / 5;
    EXPECT_EQ(swapLine(m), "1.2 GB of 4.0 GB swap used");
    EXPECT_EQ(installedGB(16 * GiB - 300 * (1ull << 20)), 16);
    // No memory figures yet: shares stay 0 instead of dividing by zero.
    EXPECT_EQ(memoryParts(MemoryStats{})[0].share, 0.0);
}

TEST_F(MachineSectionsTest, SensorGroupsHottestFirstFansAndTheEmptyState) {
    ThermalStats t;
    EXPECT_TRUE(sensorGroups(t).empty()) << "no sensors: the page shows its plain state";
    t.sensors = {{"Core 0", 51, SensorReading::Group::cpu},
                 {"Composite", 38, SensorReading::Group::storage},
                 {"Package", 63.6, SensorReading::Group::cpu},
                 {"Broken", std::numeric_limits<double>::quiet_NaN(), SensorReading::Group::gpu}};
    const auto groups = sensorGroups(t);
    ASSERT_EQ(groups.size(), 2u) << "a group of only unreadable sensors is left out";
    EXPECT_EQ(groups[0].title, "CPU");
    EXPECT_DOUBLE_EQ(groups[0].maximum, 63.6);
    EXPECT_EQ(groups[0].readings[0].name, "Package");
    EXPECT_EQ(groups[1].title, "Storage");

    EXPECT_EQ(fanLine({0, 2150.4, 1200.0, 5800.0}), "Fan 1 · 2,150 rpm (1,200–5,800)");
    EXPECT_EQ(fanLine({1, 0, std::nullopt, 6000.0}), "Fan 2 · 0 rpm (up to 6,000)");
    EXPECT_EQ(fanLine({2, 900, std::nullopt, std::nullopt}), "Fan 3 · 900 rpm");
}

TEST_F(MachineSectionsTest, NetworkDiskTimelineAndNoticeTexts) {
    NetworkStats n;
    n.rxTotal = 3 * GiB / 2;
    n.txTotal = 310ull << 20;
    EXPECT_EQ(networkTotalsLine(n, 2 * 86400 + 5 * 3600),
              "Received 1.5 GB, sent 310 MB since the system started 2d 5h ago.");
    EXPECT_EQ(networkTotalsLine(n, 0), "Received 1.5 GB, sent 310 MB since the system started.");
    DiskStats d;
    EXPECT_EQ(diskSpaceLine(d), "—");
    d.totalSpace = 500 * GiB;
    d.freeSpace = 120 * GiB;
    EXPECT_EQ(diskSpaceLine(d), "120 GB free of 500 GB");

    SystemMinute row;
    row.cpu = 37.2;
    row.memUsed = 9.2 * GiB;
    row.memTotal = 16.0 * GiB;
    row.power = 4.7;
    row.socTemp = 47.4;
    EXPECT_EQ(momentFigures(row), "CPU 37% · Memory 9.2 GB of 16 GB · Power 4.7 W · 47°");
    EXPECT_EQ(momentApp(AppMinute{0, "proc:x", "Firefox", 12.5, 1.2 * GiB, 0, 0}), "Firefox · 13% · 1.2 GB");

    Snapshot s;
    AppGroup g;
    g.processes.resize(1);
    s.groups = {g};
    EXPECT_FALSE(exactFiguresNoticeShown(s));
    s.groups[0].processes[0].isRestricted = true;
    EXPECT_TRUE(exactFiguresNoticeShown(s)) << "another user's process without the helper";
    s.helperActive = true;
    EXPECT_FALSE(exactFiguresNoticeShown(s));

    Snapshot big;
    for (uint64_t m : {5u, 50u, 20u}) {
        big.groups.emplace_back();
        big.groups.back().memory = m;
    }
    const auto top = topByMemory(big, 2);
    ASSERT_EQ(top.size(), 2u);
    EXPECT_EQ(top[0]->memory, 50u);
    EXPECT_EQ(top[1]->memory, 20u);
}

}  // namespace
}  // namespace qm::sections
