#include "engine/Monitor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <mutex>
#include <vector>

#include "history/HistoryStore.h"

namespace qm {
namespace {

std::unique_ptr<Sampler> quietSampler() {
    Sampler::Dependencies deps;
    deps.platform = Platform::empty();
    deps.queue = std::make_unique<ManualQueue>();
    static MemoryDefaults defaults;
    deps.defaults = &defaults;
    return std::make_unique<Sampler>(std::move(deps));
}

AppGroup app(const std::string& id, double cpu, std::optional<double> power = std::nullopt) {
    AppGroup g;
    g.id = id;
    g.name = id.substr(5);
    g.cpu = cpu;
    g.power = power;
    return g;
}

Snapshot tick(Date date, double interval = 2.0) {
    Snapshot s;
    s.date = date;
    s.interval = interval;
    s.cpu.perCore = {10, 20};
    return s;
}

Snapshot onBattery(Snapshot s, bool battery) {
    s.battery.present = true;
    s.battery.onAC = !battery;
    return s;
}

class MonitorTest : public ::testing::Test {
protected:
    ManualQueue main;
    Monitor monitor{main, quietSampler(), nullptr};
};

TEST_F(MonitorTest, SeriesStayBoundedNewestLastAndNonFiniteBecomesZero) {
    for (int i = 0; i < 200; ++i) {
        Snapshot s = tick(1000 + i);
        s.cpu.total = i;
        s.memory.total = 100;
        s.memory.app = 30;
        s.memory.wired = 10;
        s.thermal.socTemp = i == 199 ? std::optional<double>(NAN) : std::optional<double>(50);
        monitor.apply(s);
    }
    for (const auto* series : {&monitor.cpuSeries(), &monitor.memorySeries(), &monitor.gpuSeries(),
                               &monitor.tempSeries(), &monitor.rxSeries(), &monitor.diskWriteSeries()})
        EXPECT_EQ(series->size(), Monitor::maxPoints);
    EXPECT_TRUE(monitor.powerSeries().empty()) << "no power was measured: no points, not a line at 0 W";
    EXPECT_EQ(monitor.cpuSeries().front(), 20);
    EXPECT_EQ(monitor.cpuSeries().back(), 199);
    EXPECT_EQ(monitor.memorySeries().back(), 40);
    EXPECT_EQ(monitor.tempSeries().back(), 0);
    EXPECT_EQ(monitor.perCoreSeries().size(), 2u);
    EXPECT_EQ(monitor.perCoreSeries()[1].size(), Monitor::maxPoints);
    EXPECT_TRUE(monitor.hasData());
}

TEST_F(MonitorTest, PowerSeriesFallsBackToTheAppsAndCoresResetOnACountChange) {
    Snapshot s = tick(1000);
    s.groups = {app("proc:a", 1, 1.5), app("proc:b", 1, 2.0), app("proc:c", 1)};
    monitor.apply(s);
    EXPECT_DOUBLE_EQ(monitor.powerSeries().back(), 3.5);
    s.systemPower = 9.0;
    monitor.apply(s);
    EXPECT_DOUBLE_EQ(monitor.powerSeries().back(), 9.0);

    Snapshot vm = tick(1004);
    vm.cpu.perCore = {1, 2, 3, 4};
    monitor.apply(vm);
    ASSERT_EQ(monitor.perCoreSeries().size(), 4u);
    for (const auto& core : monitor.perCoreSeries()) EXPECT_EQ(core.size(), 1u);
}

TEST_F(MonitorTest, AnAppGoneForOneTickLosesItsSeries) {
    Snapshot both = tick(1000);
    both.groups = {app("proc:a", 5), app("proc:b", 7)};
    for (int i = 0; i < 100; ++i) monitor.apply(both);
    EXPECT_EQ(monitor.appSeries().at("proc:a").size(), Monitor::maxAppPoints);

    Snapshot onlyB = tick(1002);
    onlyB.groups = {app("proc:b", 7)};
    monitor.apply(onlyB);
    EXPECT_FALSE(monitor.appSeries().contains("proc:a"));
    EXPECT_FALSE(monitor.appMemorySeries().contains("proc:a"));
    EXPECT_EQ(monitor.appSeries().at("proc:b").size(), Monitor::maxAppPoints);
    EXPECT_EQ(monitor.appMemorySeries().at("proc:b").size(), Monitor::maxAppPoints);

    monitor.apply(both);
    EXPECT_EQ(monitor.appSeries().at("proc:a").size(), 1u);
    EXPECT_EQ(monitor.appSeriesVersion(), 102);
}

TEST_F(MonitorTest, SixtyEventsAtOnceKeepTheFiftyNewestFirst) {
    std::vector<TimelineEvent> batch;
    for (int i = 0; i < 60; ++i)
        batch.push_back(TimelineEvent{i + 1, 1000.0 + i, EventKind::highCPU, 1, "t", "d", {}, {}, {}});
    int heard = 0;
    monitor.onEvents = [&](const std::vector<TimelineEvent>& events) { heard += static_cast<int>(events.size()); };
    monitor.receive(batch);
    ASSERT_EQ(monitor.recentEvents().size(), Monitor::maxRecentEvents);
    EXPECT_EQ(monitor.recentEvents().front().date, 1059);
    EXPECT_EQ(monitor.recentEvents().back().date, 1010);
    EXPECT_EQ(heard, 60);
}

TEST_F(MonitorTest, BatterySessionsStartAtUnplugEndAtPlugInAndStartEmptyAgain) {
    Snapshot plugged = onBattery(tick(1000), false);
    plugged.groups = {app("proc:a", 5, 2.0)};
    monitor.apply(plugged);
    EXPECT_FALSE(monitor.batterySessionStart());
    EXPECT_TRUE(monitor.batterySessionEnergy().empty());

    Snapshot unplugged = onBattery(tick(1010, 100.0), true);  // a long interval counts 30 s
    unplugged.groups = {app("proc:a", 5, 2.0), app("proc:idle", 0, 0.0)};
    monitor.apply(unplugged);
    EXPECT_EQ(monitor.batterySessionStart(), 1010);
    EXPECT_DOUBLE_EQ(monitor.batterySessionEnergy().at("proc:a").joules, 60.0);
    EXPECT_FALSE(monitor.batterySessionEnergy().contains("proc:idle"));

    Snapshot still = onBattery(tick(1012, 0.1), true);  // a burst counts half a second
    still.groups = {app("proc:a", 5, 2.0)};
    monitor.apply(still);
    EXPECT_EQ(monitor.batterySessionStart(), 1010);
    EXPECT_DOUBLE_EQ(monitor.batterySessionEnergy().at("proc:a").joules, 61.0);

    monitor.apply(onBattery(tick(1014), false));
    EXPECT_FALSE(monitor.batterySessionStart());

    Snapshot again = onBattery(tick(1020), true);
    monitor.apply(again);
    EXPECT_EQ(monitor.batterySessionStart(), 1020);
    EXPECT_TRUE(monitor.batterySessionEnergy().empty());
}

TEST_F(MonitorTest, DemandSwitchesTheSamplerToLiveWhileAnySurfaceIsVisible) {
    monitor.insertDemand("popover");
    monitor.insertDemand("window-1");
    EXPECT_TRUE(monitor.sampler().live());
    monitor.removeDemand("popover");
    EXPECT_TRUE(monitor.sampler().live());
    monitor.removeDemand("window-1");
    EXPECT_FALSE(monitor.sampler().live());
}

TEST(MonitorStartTest, LoadsTheLastDayOfEventsAndTheLastUnplugFromHistory) {
    const auto dir = std::filesystem::temp_directory_path() / ("qm-monitor-" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    {
        ManualQueue main;
        HistoryStore store((dir / "history.sqlite").string(), &main);
        const Date now = Clock::system().now();
        const auto minute = static_cast<int64_t>(now) / 60 * 60;
        SystemMinute mains;
        mains.ts = minute - 600;
        SystemMinute battery = mains;
        battery.ts = minute - 540;
        battery.onBattery = true;
        battery.battery = 80;
        store.write(mains, {});
        store.write(battery, {});
        store.write(TimelineEvent{0, now - 3600, EventKind::unplugged, 0, "Unplugged", "", {}, {}, {}});
        store.write(TimelineEvent{0, now - 2 * 86400, EventKind::swap, 1, "Old", "", {}, {}, {}});
        store.waitUntilIdle();
        const auto unplugged = store.lastUnpluggedSync();

        Monitor monitor(main, quietSampler(), &store);
        monitor.receive({TimelineEvent{0, now - 10, EventKind::highCPU, 1, "Busy", "", {}, {}, {}}});
        monitor.start();
        store.waitUntilIdle();

        ASSERT_EQ(monitor.recentEvents().size(), 2u);  // the two-day-old event stays out
        EXPECT_EQ(monitor.recentEvents()[0].title, "Busy");
        EXPECT_EQ(monitor.recentEvents()[1].title, "Unplugged");
        EXPECT_EQ(monitor.batterySessionStart(), unplugged);
        EXPECT_TRUE(unplugged.has_value());
    }
    std::filesystem::remove_all(dir);
}

// The main thread's queue as the app has it: work the history's thread posts waits
// until the test, on the main thread, runs it.
class HeldQueue : public SerialQueue {
public:
    void post(std::function<void()> work) override {
        const std::lock_guard<std::mutex> hold(lock_);
        held_.push_back(std::move(work));
    }
    void sync(std::function<void()> work) override { work(); }
    std::unique_ptr<RepeatingTimer> repeating(double, double, std::function<void()>) override { return nullptr; }
    void runHeld() {
        for (;;) {
            std::vector<std::function<void()>> now;
            {
                const std::lock_guard<std::mutex> hold(lock_);
                now.swap(held_);
            }
            if (now.empty()) return;
            for (auto& work : now) work();
        }
    }

private:
    std::mutex lock_;
    std::vector<std::function<void()>> held_;
};

TEST(MonitorStartTest, AProgramThatDoesNotRecordSeesTheRecordersNewEventsWhileAWindowShows) {
    const auto dir = std::filesystem::temp_directory_path() / ("qm-follow-" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    {
        HeldQueue main;
        const std::string path = (dir / "history.sqlite").string();
        HistoryStore recorder(path, &main);  // another process's, which records
        HistoryStore ours(path, &main);
        Monitor monitor(main, quietSampler(), &ours);
        monitor.followHistoryEvents(true);
        monitor.start();
        ours.waitUntilIdle();
        main.runHeld();
        ASSERT_TRUE(monitor.recentEvents().empty());

        const Date now = Clock::system().now();
        recorder.write(TimelineEvent{0, now - 5, EventKind::highCPU, 1, "Busy elsewhere", "", {}, {}, {}});
        recorder.waitUntilIdle();
        // Nothing on screen: nothing is read.
        monitor.apply(tick(now));
        ours.waitUntilIdle();
        main.runHeld();
        EXPECT_TRUE(monitor.recentEvents().empty());
        // A window opens: the next snapshot brings the event, once.
        monitor.insertDemand("quickLook");
        monitor.apply(tick(now + 2));
        ours.waitUntilIdle();
        main.runHeld();
        monitor.apply(tick(now + 4));
        ours.waitUntilIdle();
        main.runHeld();
        ASSERT_EQ(monitor.recentEvents().size(), 1u);
        EXPECT_EQ(monitor.recentEvents()[0].title, "Busy elsewhere");
    }
    std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace qm
