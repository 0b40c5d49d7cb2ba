#include <gtest/gtest.h>

#include <algorithm>

#include "engine/MinuteAccumulator.h"

namespace qm {
namespace {

AppGroup app(std::string id, double cpu, uint64_t memory, std::optional<double> power = std::nullopt,
             double diskWriteRate = 0) {
    AppGroup g;
    g.name = id;
    g.id = "proc:" + id;
    g.cpu = cpu;
    g.memory = memory;
    g.power = power;
    g.diskWriteRate = diskWriteRate;
    return g;
}

Snapshot snapshot(double interval, std::vector<AppGroup> groups = {}) {
    Snapshot s;
    s.interval = interval;
    s.groups = std::move(groups);
    return s;
}

std::vector<std::string> keys(const std::vector<AppMinute>& rows) {
    std::vector<std::string> result;
    for (const auto& r : rows) result.push_back(r.key);
    return result;
}

TEST(MinuteAccumulatorTest, IntervalsAreClampedAndWeightEnergyAndDiskWrites) {
    MinuteAccumulator acc;
    acc.add(snapshot(120, {app("a", 10, 0, 2.0, 100)}));  // the machine slept: counts 30 s
    acc.add(snapshot(0.1, {app("a", 10, 0, 2.0, 100)}));  // a burst of ticks: counts 0.5 s
    EXPECT_DOUBLE_EQ(acc.seconds, 30.5);

    auto [minute, rows] = acc.build(60);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_DOUBLE_EQ(rows[0].energy, 2.0 * 30.5);
    // Bytes written over the minute spread over the seconds it covered.
    EXPECT_DOUBLE_EQ(rows[0].diskWrite, 100.0 * 30.5 / 30.5);

    MinuteAccumulator shortMinute;
    shortMinute.add(snapshot(0.2, {app("a", 10, 0, std::nullopt, 100)}));
    // Less than a second: the write rate is divided by one second, not by 0.5.
    EXPECT_DOUBLE_EQ(shortMinute.build(0).second[0].diskWrite, 50.0);
}

TEST(MinuteAccumulatorTest, SystemRowAveragesSumsAndKeepsPeaksAndLatestValues) {
    MinuteAccumulator one;
    Snapshot s = snapshot(2);
    s.cpu.total = 40;
    s.memory = MemoryStats{16, 3, 2, 1, 0, 0, 5, 8, 30, PressureLevel::normal};
    s.network.rxRate = 1000;
    one.add(s);
    auto [single, _] = one.build(120);
    EXPECT_EQ(single.ts, 120);
    EXPECT_DOUBLE_EQ(single.cpu, 40) << "one snapshot divides by 1";
    EXPECT_DOUBLE_EQ(single.memUsed, 6);
    EXPECT_DOUBLE_EQ(single.netRx, 1000);

    MinuteAccumulator acc;
    const double cpus[] = {10, 20, 60};
    const PressureLevel levels[] = {PressureLevel::normal, PressureLevel::warning, PressureLevel::normal};
    const uint64_t swaps[] = {100, 900, 300};
    for (int i = 0; i < 3; ++i) {
        Snapshot t = snapshot(5);
        t.cpu.total = cpus[i];
        t.memory.total = 1000 + i;
        t.memory.pressureLevel = levels[i];
        t.memory.swapUsed = swaps[i];
        t.thermal.state = i == 1 ? ThermalState::serious : ThermalState::fair;
        if (i > 0) t.gpu = i * 30.0;  // the GPU reading starts with the second snapshot
        acc.add(t);
    }
    auto [minute, rows] = acc.build(180);
    EXPECT_DOUBLE_EQ(minute.cpu, 30);
    EXPECT_DOUBLE_EQ(minute.memTotal, 1002) << "installed memory of the latest snapshot";
    EXPECT_EQ(minute.pressureLevel, 2) << "warning then normal stores warning's code";
    EXPECT_DOUBLE_EQ(minute.swap, 900);
    EXPECT_EQ(minute.thermal, 2);
    EXPECT_DOUBLE_EQ(*minute.gpu, 45) << "averaged over the snapshots that had a value";
    EXPECT_FALSE(minute.power.has_value()) << "never read is absent, not 0";
    EXPECT_FALSE(minute.socTemp.has_value());
    EXPECT_FALSE(minute.battery.has_value());
    EXPECT_TRUE(rows.empty());

    Snapshot critical = snapshot(5);
    critical.memory.pressureLevel = PressureLevel::critical;
    acc.add(critical);
    EXPECT_EQ(acc.build(180).first.pressureLevel, 4);
}

TEST(MinuteAccumulatorTest, BatteryKeepsTheLatestChargeAndAnyTimeOnBattery) {
    MinuteAccumulator acc;
    Snapshot s = snapshot(5);
    s.battery.present = true;
    s.battery.percent = 80;
    s.battery.onAC = false;
    acc.add(s);
    s.battery.percent = 79;
    s.battery.onAC = true;
    acc.add(s);
    acc.add(snapshot(5));  // a snapshot without a battery reading changes nothing
    auto minute = acc.build(0).first;
    EXPECT_DOUBLE_EQ(*minute.battery, 79);
    EXPECT_TRUE(minute.onBattery);
}

TEST(MinuteAccumulatorTest, OnlyNoticeableAppsAreTallied) {
    MinuteAccumulator acc;
    acc.add(snapshot(2, {
                            app("idle", 0.04, 150'000'000),
                            app("edge-cpu", 0.05, 0),
                            app("edge-mem", 0, 200'000'000),
                            app("tiny-power", 0, 0, 0.0005),
                            app("big", 0.04, 250'000'000),
                            app("busy", 0.06, 0),
                            app("powered", 0, 0, 0.002),
                        }));
    std::vector<std::string> tallied;
    for (const auto& [key, _] : acc.apps) tallied.push_back(key);
    std::sort(tallied.begin(), tallied.end());
    EXPECT_EQ(tallied, (std::vector<std::string>{"proc:big", "proc:busy", "proc:powered"}));
}

TEST(MinuteAccumulatorTest, AppRowsAverageOverTheWholeMinuteAndKeepTheFirstName) {
    MinuteAccumulator acc;
    AppGroup first = app("a", 30, 500);
    first.name = "First name";
    acc.add(snapshot(2, {first}));
    AppGroup renamed = app("a", 10, 300);
    renamed.name = "Second name";
    acc.add(snapshot(2, {renamed}));
    acc.add(snapshot(2));
    acc.add(snapshot(2));

    auto rows = acc.build(240).second;
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].ts, 240);
    EXPECT_EQ(rows[0].name, "First name");
    EXPECT_DOUBLE_EQ(rows[0].cpu, 10) << "40 summed over a minute of 4 snapshots";
    EXPECT_DOUBLE_EQ(rows[0].memory, 500) << "peak, not latest";
    EXPECT_EQ(acc.apps.at("proc:a").n, 2);
}

// Twelve apps a01..a12 in descending activity; apart from `holder`, which holds the
// most memory, memory also descends with activity, so the next two memory holders
// are a01 and a02.
MinuteAccumulator twelveApps(int holder) {
    std::vector<AppGroup> groups;
    for (int i = 1; i <= 12; ++i) {
        const std::string name = (i < 10 ? "a0" : "a") + std::to_string(i);
        groups.push_back(app(name, 100.0 - i, i == holder ? 900'000'000 : 100'000'000 - i * 1'000'000));
    }
    MinuteAccumulator acc;
    acc.add(snapshot(2, groups));
    return acc;
}

TEST(MinuteAccumulatorTest, KeepsTheTenMostActiveAppsPlusMissingMemoryHolders) {
    // The biggest memory holder ranks 12th by activity: it is appended after the ten.
    auto rows = twelveApps(12).build(0).second;
    ASSERT_EQ(rows.size(), 11u);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(rows[i].key, "proc:a" + std::string(i < 9 ? "0" : "") + std::to_string(i + 1));
    EXPECT_EQ(rows[10].key, "proc:a12");

    // Ranked 5th it is already among the ten, as are the next two holders.
    auto fifth = twelveApps(5).build(0).second;
    ASSERT_EQ(fifth.size(), 10u);
    EXPECT_EQ(fifth[4].key, "proc:a05");
    EXPECT_TRUE(std::none_of(fifth.begin(), fifth.end(), [](auto& r) { return r.key == "proc:a11"; }));

    // Energy counts four times CPU in the score: one joule outranks 3 % of CPU.
    MinuteAccumulator acc;
    acc.add(snapshot(1, {app("cpu", 3, 0), app("energy", 0.06, 0, 1.0)}));
    EXPECT_EQ(keys(acc.build(0).second), (std::vector<std::string>{"proc:energy", "proc:cpu"}));
}

}  // namespace
}  // namespace qm
