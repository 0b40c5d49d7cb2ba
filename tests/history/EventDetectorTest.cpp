#include "history/EventDetector.h"

#include <gtest/gtest.h>

#include "fmt/Fmt.h"
#include "fmt/PlatformWording.h"

using namespace qm;

namespace {

constexpr uint64_t GiB = 1ULL << 30;

AppGroup group(const std::string& id, const std::string& name, double cpu, uint64_t memory = 0) {
    AppGroup g;
    g.id = id;
    g.name = name;
    g.cpu = cpu;
    g.memory = memory;
    return g;
}

class EventDetectorTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US", "UTC"); }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }

    // Advances the clock, then runs one tick.
    std::vector<TimelineEvent> tick(const Snapshot& s, double seconds = 60) {
        clock.advance(seconds);
        return detector.process(s);
    }

    ManualClock clock{1'700'000'000};
    MemoryDefaults defaults;
    EventDetector detector{&defaults, clock, IndexerSet::linuxDesktop()};
};

}  // namespace

TEST_F(EventDetectorTest, FirstSnapshotOnlyPrimes) {
    Snapshot s;
    s.memory.pressureLevel = PressureLevel::critical;
    s.memory.swapUsed = 10 * GiB;
    s.battery.present = true;
    s.battery.onAC = false;
    s.thermal.state = ThermalState::critical;
    s.groups = {group("proc:tracker-miner-fs-3", "tracker", 200, 5 * GiB)};
    EXPECT_TRUE(detector.process(s).empty());
    // Nothing rose since: still no news.
    EXPECT_TRUE(tick(s).empty());
}

TEST_F(EventDetectorTest, HighCPUNeedsTheWholeStretchAndCoolsDown) {
    Snapshot busy;
    busy.groups = {group("proc:kernel_task", "kernel_task", 300), group("proc:kernel", "Linux kernel", 300),
                   group("app:/usr/share/applications/blender.desktop", "Blender", 90.0)};
    Snapshot calm;
    calm.groups = {group("app:/usr/share/applications/blender.desktop", "Blender", 89.9)};

    detector.process(calm);
    EXPECT_TRUE(tick(busy).empty());  // the stretch starts here
    EXPECT_TRUE(tick(busy, 179).empty());
    auto events = tick(busy, 1);  // exactly at the threshold for exactly three minutes
    ASSERT_EQ(events.size(), 1u);
    const TimelineEvent& e = events[0];
    EXPECT_EQ(e.kind, EventKind::highCPU);
    EXPECT_EQ(e.severity, 2);
    EXPECT_EQ(e.id, 0);
    EXPECT_EQ(e.date, clock.now());
    EXPECT_EQ(e.title, "Blender is using a lot of CPU");
    EXPECT_EQ(e.detail, forThisPlatform(Fmt::percent(90.0) + " of a core for 3 min. This heats your Mac."))
        << "no battery to drain";
    EXPECT_EQ(e.appKey, "app:/usr/share/applications/blender.desktop");
    EXPECT_EQ(e.appName, "Blender");

    // Held back for 45 minutes; the next report counts the whole stretch.
    EXPECT_TRUE(tick(busy, 2700).empty());
    events = tick(busy, 1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_NE(events[0].detail.find(" for 48 min."), std::string::npos);

    // A dip below the threshold restarts the stretch (the cool-down still holds it back
    // until it has passed).
    tick(calm, 3000);
    busy.battery.present = true;
    EXPECT_TRUE(tick(busy).empty());
    EXPECT_TRUE(tick(busy, 120).empty());
    events = tick(busy, 60);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].detail,
              forThisPlatform(Fmt::percent(90.0) + " of a core for 3 min. This drains battery and heats your Mac."));
}

TEST_F(EventDetectorTest, HighCPUFollowsTheSettings) {
    Snapshot s;
    s.groups = {group("proc:make", "make", 60)};
    defaults.set("alert.highCPU.threshold", 50.0);
    defaults.set("alert.highCPU.minutes", int64_t{1});
    detector.process(s);
    tick(s);
    EXPECT_EQ(tick(s).size(), 1u);

    // A value of the wrong type counts as unset: back to 90 % for 3 minutes.
    defaults.set("alert.highCPU.threshold", std::string("lots"));
    Snapshot other;
    other.groups = {group("proc:cc1", "cc1", 89)};
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(tick(other).empty());

    // Values beyond the range (a hand-edited file) read as its ends: 0 % at once would
    // make every process an event; the threshold reads as 10 %.
    defaults.set("alert.highCPU.threshold", 0.0);
    defaults.set("alert.highCPU.minutes", 0.0);
    Snapshot quiet;
    quiet.groups = {group("proc:a", "a", 5), group("proc:b", "b", 2)};
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(tick(quiet, 5).empty());
}

TEST_F(EventDetectorTest, MemoryGrowthNeedsSizeSpanGrowthAndASteadyRise) {
    Snapshot s;
    detector.process(s);
    auto at = [&](uint64_t leaky, uint64_t exactGB, uint64_t stepwise) {
        s.groups = {group("app:leaky", "Leaky", 1, leaky), group("proc:one", "One", 1, exactGB),
                    group("proc:steady", "Steady", 1, stepwise)};
        return tick(s);
    };
    std::vector<TimelineEvent> events;
    // Leaky climbs 70 MB a minute from 1.1 GB; One sits at exactly 1 GB and then jumps;
    // Steady grows exactly 1.5 GB over 25 minutes.
    for (int k = 0; k <= 25; ++k) {
        events = at(1'100'000'000 + k * 70'000'000ULL, k < 25 ? 1'000'000'000 : 4'000'000'000,
                    1'100'000'000 + k * 60'000'000ULL);
        if (k < 25) {
            EXPECT_TRUE(events.empty()) << k;
        }
    }
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, EventKind::memoryGrowth);
    EXPECT_EQ(events[0].severity, 1);
    EXPECT_EQ(events[0].title, "Leaky keeps using more memory");
    EXPECT_EQ(events[0].detail, "Grew by " + Fmt::bytes(1'750'000'000.0) + " in 25 min (now " +
                                    Fmt::bytes(2'850'000'000.0) + "). Restarting it usually frees this.");
    EXPECT_EQ(events[0].appKey, "app:leaky");

    // Held back for three hours even though it keeps growing; the check runs once a minute.
    for (int k = 26; k < 40; ++k) EXPECT_TRUE(at(1'100'000'000 + k * 70'000'000ULL, 1, 1).empty());
    EXPECT_TRUE(detector.process(s).empty());
}

ProcessSample member(int32_t pid, uint64_t start, double cpu, uint64_t memory = 0) {
    ProcessSample p;
    p.pid = pid;
    p.startTime = start;
    p.uid = 1000;
    p.cpu = cpu;
    p.memory = memory;
    return p;
}

AppGroup withProcesses(AppGroup g, std::vector<ProcessSample> processes) {
    g.processes = std::move(processes);
    return g;
}

TEST_F(EventDetectorTest, EventsNameTheProcessesThatMadeThemNotTheirNamesakes) {
    // Four python3 processes: two share the load, one idles, one barely runs.
    Snapshot busy;
    busy.groups = {withProcesses(group("proc:python3", "python3", 190), {member(10, 1000, 0.4), member(11, 1100, 95),
                                                                         member(12, 1200, 0.6), member(13, 1300, 94)})};
    detector.process(busy);
    tick(busy);
    auto events = tick(busy, 180);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].processes, (std::vector<ProcessRef>{{11, 1100, 1000}, {13, 1300, 1000}}));

    // Memory: of three namesakes the one that grew is named, not the biggest.
    EventDetector growth{&defaults, clock, IndexerSet::linuxDesktop()};
    Snapshot s;
    growth.process(s);
    std::vector<TimelineEvent> found;
    for (int k = 0; k <= 25; ++k) {
        const uint64_t leaking = 100'000'000 + k * 70'000'000ULL;
        s.groups = {withProcesses(group("proc:node", "node", 1, 2'000'000'000 + leaking + 300'000'000),
                                  {member(20, 2000, 0, 2'000'000'000), member(21, 2100, 0, leaking),
                                   member(22, 2200, 0, 300'000'000 + (k % 2) * 1'000'000)})};
        clock.advance(60);
        found = growth.process(s);
    }
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].processes, (std::vector<ProcessRef>{{21, 2100, 1000}}));
}

TEST(EventDetectorRise, MostlyRisingNeedsFiveSamplesAndThreeStepsInFour) {
    using T = std::vector<EventDetector::MemorySample>;
    EXPECT_FALSE(EventDetector::isMostlyRising(T{{0, 1}, {1, 2}, {2, 3}, {3, 4}}));
    EXPECT_TRUE(EventDetector::isMostlyRising(T{{0, 1}, {1, 2}, {2, 2}, {3, 1}, {4, 5}}));
    EXPECT_FALSE(EventDetector::isMostlyRising(T{{0, 5}, {1, 4}, {2, 6}, {3, 5}, {4, 9}}));
}

TEST_F(EventDetectorTest, PressureReportsRisesWithAPerLevelCooldown) {
    Snapshot s;
    s.groups = {group("proc:small", "small", 0, 100), group("app:big", "Big", 0, 3 * GiB),
                group("app:big2", "Big Too", 0, 3 * GiB)};
    auto at = [&](PressureLevel level, double seconds) {
        s.memory.pressureLevel = level;
        return tick(s, seconds);
    };
    detector.process(s);
    auto warning = at(PressureLevel::warning, 60);
    ASSERT_EQ(warning.size(), 1u);
    EXPECT_EQ(warning[0].kind, EventKind::memoryPressure);
    EXPECT_EQ(warning[0].title, "Memory is getting tight");
    EXPECT_EQ(warning[0].severity, 1);
    EXPECT_EQ(warning[0].detail, "Big is using the most memory (" + Fmt::bytes(3.0 * GiB) + ").");
    EXPECT_EQ(warning[0].appKey, "app:big");  // the earlier of two equal holders

    auto critical = at(PressureLevel::critical, 60);
    ASSERT_EQ(critical.size(), 1u);
    EXPECT_EQ(critical[0].title, "Memory is under heavy pressure");
    EXPECT_EQ(critical[0].severity, 2);

    EXPECT_TRUE(at(PressureLevel::warning, 60).empty());  // a fall is silent
    at(PressureLevel::normal, 60);
    EXPECT_TRUE(at(PressureLevel::warning, 420).empty());  // 10 min after the warning report
    at(PressureLevel::normal, 60);
    EXPECT_EQ(at(PressureLevel::critical, 60).size(), 1u);  // critical is never held back
    at(PressureLevel::normal, 60);
    EXPECT_EQ(at(PressureLevel::warning, 1260).size(), 1u);  // 31 min after it

    s.groups.clear();
    at(PressureLevel::normal, 60);
    auto bare = at(PressureLevel::critical, 60);
    ASSERT_EQ(bare.size(), 1u);
    EXPECT_EQ(bare[0].detail, "");
    EXPECT_FALSE(bare[0].appKey.has_value());
}

TEST_F(EventDetectorTest, ThermalReportsARiseToSeriousOncePerTwentyMinutes) {
    Snapshot s;
    s.groups = {group("proc:a", "a", 10), group("proc:ffmpeg", "ffmpeg", 350.0)};
    auto at = [&](ThermalState state, double seconds = 60) {
        s.thermal.state = state;
        return tick(s, seconds);
    };
    detector.process(s);
    EXPECT_TRUE(at(ThermalState::fair).empty());
    auto hot = at(ThermalState::serious);
    ASSERT_EQ(hot.size(), 1u);
    EXPECT_EQ(hot[0].kind, EventKind::thermal);
    EXPECT_EQ(hot[0].title, forThisPlatform("Your Mac is running hot"));
    EXPECT_EQ(hot[0].detail, forThisPlatform("macOS is slowing things down to cool off. Busiest app: ffmpeg (" +
                                             Fmt::percent(350.0) + ")."));
    EXPECT_EQ(hot[0].appKey, "proc:ffmpeg");
    EXPECT_TRUE(at(ThermalState::critical).empty());  // within 20 minutes

    s.groups.clear();
    at(ThermalState::nominal, 1200);
    auto again = at(ThermalState::critical);
    ASSERT_EQ(again.size(), 1u);
    EXPECT_EQ(again[0].detail, forThisPlatform("macOS is slowing things down to cool off."));
    EXPECT_FALSE(again[0].appName.has_value());
}

TEST_F(EventDetectorTest, IndexingNeedsNinetySecondsOfLoadAndCoolsDownTwoHours) {
    Snapshot s;
    // The kernel's 15-character names are recognised too.
    s.groups = {group("proc:tracker-miner-f", "tracker-miner-f", 40), group("proc:baloo_file", "baloo_file", 21)};
    detector.process(s);
    EXPECT_TRUE(tick(s, 1).empty());  // 61 % starts the stretch
    EXPECT_TRUE(tick(s, 90).empty());
    auto events = tick(s, 1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, EventKind::spotlight);
    EXPECT_EQ(events[0].severity, 0);
    EXPECT_EQ(events[0].detail, "tracker-miner-fs-3 and baloo_file are cataloguing files (" + Fmt::percent(61.0) +
                                    " CPU). Normal after updates or big file changes; it settles "
                                    "on its own.");
    EXPECT_FALSE(events[0].appKey.has_value());
    EXPECT_TRUE(tick(s, 7000).empty());

    // Load at exactly 60 % ends the stretch; after two hours a new one is reported.
    Snapshot light = s;
    light.groups[1].cpu = 20;
    tick(light, 200);
    EXPECT_TRUE(tick(s, 1).empty());
    EXPECT_TRUE(tick(s, 60).empty());
    EXPECT_EQ(tick(s, 31).size(), 1u);

    // The macOS indexers are named as Spotlight's.
    EventDetector mac{&defaults, clock, IndexerSet::spotlight()};
    Snapshot spot;
    spot.groups = {group("proc:mds_stores", "mds_stores", 50), group("proc:mdworker_shared", "mdworker_shared", 30)};
    mac.process(spot);
    mac.process(spot);
    clock.advance(91);
    auto macEvents = mac.process(spot);
    ASSERT_EQ(macEvents.size(), 1u);
    EXPECT_EQ(macEvents[0].title, forThisPlatform("Spotlight is indexing"));
    EXPECT_EQ(macEvents[0].detail.rfind("mds_stores and mdworker are cataloguing files (", 0), 0u);
}

TEST_F(EventDetectorTest, SwapIsReportedInStepsOfTwoGigabytesAboveFour) {
    Snapshot s;
    auto at = [&](double gb) {
        s.memory.swapUsed = static_cast<uint64_t>(gb * GiB);
        return tick(s);
    };
    s.memory.swapUsed = 4 * GiB;
    detector.process(s);
    EXPECT_TRUE(at(5.9).empty());
    auto events = at(6.0);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, EventKind::swap);
    EXPECT_EQ(events[0].severity, 1);
    EXPECT_EQ(events[0].title, forThisPlatform("Your Mac is swapping to disk"));
    EXPECT_EQ(events[0].detail,
              forThisPlatform(Fmt::number(6.0, 1) + " GB of memory moved to the SSD. Things may feel slower."));
    EXPECT_TRUE(at(7.9).empty());
    EXPECT_EQ(at(8.0).size(), 1u);
    EXPECT_TRUE(at(6.5).empty());  // within 2 GB of the baseline: it stays at 8
    EXPECT_TRUE(at(9.9).empty());
    at(3.0);                       // the baseline follows swap down
    EXPECT_TRUE(at(3.9).empty());  // below the 4 GB floor
    EXPECT_EQ(at(5.0).size(), 1u);
}

TEST_F(EventDetectorTest, PowerChangesNeedAKnownPreviousState) {
    Snapshot none;
    Snapshot battery;
    battery.battery.present = true;
    battery.battery.onAC = false;
    battery.battery.percent = 42.9;
    Snapshot mains = battery;
    mains.battery.onAC = true;

    detector.process(none);
    EXPECT_TRUE(tick(battery).empty());  // previous state unknown
    auto plugged = tick(mains);
    ASSERT_EQ(plugged.size(), 1u);
    EXPECT_EQ(plugged[0].kind, EventKind::pluggedIn);
    EXPECT_EQ(plugged[0].title, "Plugged in");
    EXPECT_EQ(plugged[0].detail, "Battery at " + Fmt::percent(42));
    EXPECT_TRUE(tick(none).empty());  // no battery: the rule is skipped, state kept
    auto unplugged = tick(battery);
    ASSERT_EQ(unplugged.size(), 1u);
    EXPECT_EQ(unplugged[0].kind, EventKind::unplugged);
    EXPECT_EQ(unplugged[0].title, "Unplugged");
}

TEST_F(EventDetectorTest, EventsOfOneTickComeInRuleOrder) {
    Snapshot s;
    s.groups = {group("proc:spin", "spin", 100, 2 * GiB)};
    detector.process(s);
    EXPECT_TRUE(tick(s).empty());  // busy from here on
    s.memory.pressureLevel = PressureLevel::critical;
    s.thermal.state = ThermalState::serious;
    s.memory.swapUsed = 8 * GiB;
    defaults.set("alert.highCPU.minutes", 1.0);
    auto events = tick(s);
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[0].kind, EventKind::highCPU);
    EXPECT_EQ(events[1].kind, EventKind::memoryPressure);
    EXPECT_EQ(events[2].kind, EventKind::thermal);
    EXPECT_EQ(events[3].kind, EventKind::swap);
}
