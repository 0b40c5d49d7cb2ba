#include <gtest/gtest.h>

#include "FakePlatform.h"
#include "core/Defaults.h"
#include "engine/Sampler.h"

namespace qm {
namespace {

using testing::FakeMachine;
using testing::RecordingHistory;

constexpr Date kMinute = 1'700'000'040;       // a whole Unix minute ("12:00:00")
constexpr Date kSixHourMark = 1'700'006'400;  // Unix minute 28'333'440 = 360 × 78'704

AppGroup busyApp(const std::string& name) {
    AppGroup g;
    g.id = "proc:" + name;
    g.name = name;
    g.cpu = 25;
    return g;
}

class SamplerTest : public ::testing::Test {
protected:
    void SetUp() override {
        machine->processes.groups = {busyApp("one")};
        machine->processes.processCount = 1;
        make();
    }
    void TearDown() override { Sampler::fullSensors = false; }

    void make() {
        sampler.reset();
        Sampler::Dependencies deps;
        deps.platform = testing::fakePlatform(machine);
        deps.clock = &clock;
        deps.defaults = &defaults;
        deps.history = &history;
        deps.detector = std::make_unique<testing::ScriptedDetector>(nextEvents);
        auto q = std::make_unique<ManualQueue>();
        queue = q.get();
        deps.queue = std::move(q);
        sampler = std::make_unique<Sampler>(std::move(deps));
        sampler->onSnapshot = [this](const Snapshot& s) { snapshots.push_back(s); };
        sampler->onEvents = [this](const std::vector<TimelineEvent>& e) { eventCalls.push_back(e); };
    }

    // Lets `seconds` pass and fires the timer.
    void tick(double seconds = 5) {
        clock.advance(seconds);
        ASSERT_TRUE(queue->armed());
        queue->fire();
    }
    // Runs one tick at an exact wall-clock time, the time having really passed.
    void tickAt(Date date) {
        clock.advance(date - clock.now());
        sampler->sample();
    }
    void setOnAC(bool onAC) {
        machine->power->battery.present = true;
        machine->power->battery.onAC = onAC;
    }

    std::shared_ptr<FakeMachine> machine = std::make_shared<FakeMachine>();
    ManualClock clock{kMinute};
    MemoryDefaults defaults;
    RecordingHistory history;
    std::shared_ptr<std::vector<TimelineEvent>> nextEvents = std::make_shared<std::vector<TimelineEvent>>();
    ManualQueue* queue = nullptr;
    std::unique_ptr<Sampler> sampler;
    std::vector<Snapshot> snapshots;
    std::vector<std::vector<TimelineEvent>> eventCalls;
};

TEST_F(SamplerTest, BackgroundAndLivePeriodsFollowTheRefreshSetting) {
    EXPECT_FALSE(queue->armed()) << "idle until started";
    sampler->start();
    EXPECT_EQ(history.pruneTimes.size(), 1u);
    EXPECT_DOUBLE_EQ(queue->interval(), 5.0);
    EXPECT_DOUBLE_EQ(queue->leeway(), 1.5);
    EXPECT_TRUE(snapshots.empty());

    sampler->setLive(true);
    EXPECT_EQ(snapshots.size(), 1u) << "becoming live shows fresh figures at once";
    EXPECT_DOUBLE_EQ(queue->interval(), 2.0) << "an unset refresh interval reads as 0";
    EXPECT_DOUBLE_EQ(queue->leeway(), 0.1);

    const int timers = queue->timersCreated();
    sampler->setLive(true);
    EXPECT_EQ(snapshots.size(), 1u) << "a second setLive(true) runs no extra tick";
    EXPECT_EQ(queue->timersCreated(), timers);

    defaults.set("refresh.interval", 0.5);
    sampler->reschedule();
    EXPECT_DOUBLE_EQ(queue->interval(), 2.0);
    defaults.set("refresh.interval", 1.0);
    sampler->reschedule();
    EXPECT_DOUBLE_EQ(queue->interval(), 1.0);
    defaults.set("refresh.interval", int64_t{3});
    sampler->reschedule();
    EXPECT_DOUBLE_EQ(queue->interval(), 3.0);
    defaults.set("refresh.interval", 1e10);  // edited by hand: read as the longest allowed
    sampler->reschedule();
    EXPECT_DOUBLE_EQ(queue->interval(), 60.0);
    defaults.set("refresh.interval", 3.0);
    sampler->reschedule();

    sampler->setLive(false);
    EXPECT_DOUBLE_EQ(queue->interval(), 5.0) << "the refresh setting applies only while live";
    EXPECT_DOUBLE_EQ(queue->leeway(), 1.5);
    EXPECT_EQ(snapshots.size(), 1u);
}

TEST_F(SamplerTest, FirstTickUsesTheConfiguredPeriodAsItsInterval) {
    sampler->start();
    tick(123);  // long after launch
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_DOUBLE_EQ(snapshots[0].interval, 5.0);
    EXPECT_DOUBLE_EQ(snapshots[0].date, kMinute + 123);
    tick(7);
    EXPECT_DOUBLE_EQ(snapshots[1].interval, 7.0);
    EXPECT_EQ(sampler->tick(), 2);

    make();
    snapshots.clear();
    sampler->setLive(true);
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_DOUBLE_EQ(snapshots[0].interval, 2.0);
}

TEST_F(SamplerTest, PowerSourceChangeReArmsTheBackgroundTimerAtOnce) {
    setOnAC(true);
    sampler->start();
    tick();
    EXPECT_DOUBLE_EQ(queue->interval(), 5.0);
    const int timers = queue->timersCreated();

    setOnAC(false);  // unplugged
    tick();
    EXPECT_DOUBLE_EQ(queue->interval(), 10.0);
    EXPECT_EQ(queue->timersCreated(), timers + 1);
    EXPECT_FALSE(snapshots.back().battery.onAC);
    EXPECT_DOUBLE_EQ(*snapshots.back().systemPower, 12.0);

    tick(10);
    EXPECT_EQ(queue->timersCreated(), timers + 1) << "no change, no re-arm";
    setOnAC(true);
    tick(10);
    EXPECT_DOUBLE_EQ(queue->interval(), 5.0);
    EXPECT_EQ(machine->powerReads, 4) << "every background tick reads power";
}

TEST_F(SamplerTest, PowerIsReadEveryThirdLiveTickAndDefaultsWhenUnknown) {
    machine->power.reset();
    sampler->setLive(true);
    EXPECT_FALSE(snapshots[0].battery.present);
    EXPECT_TRUE(snapshots[0].battery.onAC);
    EXPECT_FALSE(snapshots[0].systemPower.has_value());

    machine->power = PowerReading{BatteryStats{}, 3.0};
    for (int i = 0; i < 5; ++i) tick(2);  // ticks 2 to 6
    // Ticks 1 and 2 read (no reading held yet), then only ticks 3 and 6.
    EXPECT_EQ(machine->powerReads, 4);
    EXPECT_DOUBLE_EQ(*snapshots.back().systemPower, 3.0);
}

TEST_F(SamplerTest, MinuteBoundaryWritesRowsStampedWithTheClosedMinute) {
    tickAt(kMinute + 59);  // 12:00:59
    EXPECT_TRUE(history.minutes.empty());
    EXPECT_EQ(sampler->minuteStart(), kMinute);
    tickAt(kMinute + 61);  // 12:01:01
    ASSERT_EQ(history.minutes.size(), 1u);
    EXPECT_EQ(history.minutes[0].minute.ts, kMinute);
    ASSERT_EQ(history.minutes[0].apps.size(), 1u);
    EXPECT_EQ(history.minutes[0].apps[0].ts, kMinute);
    EXPECT_EQ(history.minutes[0].apps[0].key, "proc:one");
    EXPECT_EQ(sampler->minuteStart(), kMinute + 60);
    EXPECT_EQ(sampler->accumulator().count, 1) << "the new minute starts with this tick";

    // After a sleep only the minute that had snapshots is written, no empty ones.
    tickAt(kMinute + 600);
    ASSERT_EQ(history.minutes.size(), 2u);
    EXPECT_EQ(history.minutes[1].minute.ts, kMinute + 60);
    EXPECT_EQ(history.pruneTimes.size(), 0u);
}

TEST_F(SamplerTest, PrunesOnlyWhenTheClosedMinuteFallsOnASixHourMark) {
    tickAt(kSixHourMark - 50);
    tickAt(kSixHourMark + 10);  // closes the minute before the mark
    EXPECT_EQ(history.pruneTimes.size(), 0u);
    tickAt(kSixHourMark + 70);  // closes the minute at the mark
    EXPECT_EQ(history.pruneTimes.size(), 1u);
    tickAt(kSixHourMark + 130);
    EXPECT_EQ(history.pruneTimes.size(), 1u);
    EXPECT_EQ(history.minutes.size(), 3u);
}

TEST_F(SamplerTest, FlushNowWritesThePartialMinuteOnce) {
    for (int s : {0, 10, 20, 30}) tickAt(kMinute + s);
    sampler->flushNow();  // quitting 30 seconds into the minute
    ASSERT_EQ(history.minutes.size(), 1u);
    EXPECT_EQ(history.minutes[0].minute.ts, kMinute);
    EXPECT_EQ(sampler->accumulator().count, 0);
    EXPECT_EQ(sampler->minuteStart(), kMinute);

    sampler->flushNow();
    EXPECT_EQ(history.minutes.size(), 1u) << "an empty minute is never built";
    tickAt(kMinute + 65);
    EXPECT_EQ(history.minutes.size(), 1u);
    EXPECT_EQ(sampler->minuteStart(), kMinute + 60);
}

TEST_F(SamplerTest, GPUIsReadEveryFourthBackgroundTickAndEveryLiveTick) {
    sampler->start();
    tick();
    machine->gpu = 55.0;
    for (int i = 2; i <= 8; ++i) tick();
    EXPECT_EQ(machine->gpuReads, 3);  // ticks 1, 4, 8
    EXPECT_DOUBLE_EQ(*snapshots[2].gpu, 40.0) << "tick 3 reuses tick 1's reading";
    EXPECT_DOUBLE_EQ(*snapshots[3].gpu, 55.0);

    machine->gpu.reset();  // from now on the GPU cannot be read
    for (int i = 9; i <= 12; ++i) tick();
    EXPECT_EQ(machine->gpuReads, 4) << "ticks 9 to 11 reuse 55; tick 12 reads nothing";
    EXPECT_FALSE(snapshots.back().gpu.has_value());
    tick();
    EXPECT_EQ(machine->gpuReads, 5) << "nothing held, so tick 13 asks again";

    sampler->setLive(true);  // tick 14
    tick(2);
    EXPECT_EQ(machine->gpuReads, 7) << "every live tick reads";
}

TEST_F(SamplerTest, ProcessesAreReusedOnOddBackgroundTicksAndRestrictedEverySixth) {
    sampler->start();
    for (int i = 1; i <= 7; ++i) {
        if (i == 3) machine->processes.groups = {busyApp("two")};
        tick();
    }
    // Tick 1 reads (nothing to reuse); 2, 4, 6 read, with others' processes on 6.
    EXPECT_EQ(machine->processReads, (std::vector<bool>{false, false, false, true}));
    EXPECT_EQ(snapshots[2].groups[0].id, "proc:one") << "tick 3 reuses tick 2's result";
    EXPECT_EQ(snapshots[3].groups[0].id, "proc:two");
    EXPECT_EQ(snapshots[3].processCount, 1);

    machine->processReads.clear();
    sampler->setLive(true);
    tick(2);
    tick(2);
    EXPECT_EQ(machine->processReads, (std::vector<bool>{true, true, true}));
}

TEST_F(SamplerTest, SensorsFollowTheirPeriodAndLightReadsKeepTheFans) {
    machine->lightSensors.sensors = {{"CPU die", 50, SensorReading::Group::cpu}};
    machine->fullSensors.sensors.assign(9, {"S", 40, SensorReading::Group::other});
    machine->fullSensors.fans = {FanReading{0, 1800, 1200.0, 6000.0}};
    EXPECT_EQ(machine->sensorSourcesMade, 0) << "sensors are opened on first use";

    sampler->start();
    for (int i = 1; i <= 12; ++i) tick();
    EXPECT_EQ(machine->sensorReads, (std::vector<bool>{false, false, false}));  // ticks 1, 6, 12
    EXPECT_EQ(machine->sensorSourcesMade, 1);

    Sampler::fullSensors = true;
    machine->sensorReads.clear();
    tick();  // 13: fewer than 8 sensors known, so a full read now
    tick();  // 14: period 2
    tick();  // 15
    EXPECT_EQ(machine->sensorReads, (std::vector<bool>{true, true}));
    EXPECT_EQ(snapshots.back().thermal.fans.size(), 1u);

    Sampler::fullSensors = false;
    machine->thermalState = ThermalState::serious;
    for (int i = 16; i <= 18; ++i) tick();  // 18: light read
    EXPECT_EQ(machine->sensorReads.size(), 3u);
    EXPECT_EQ(snapshots.back().thermal.sensors.size(), 1u);
    EXPECT_EQ(snapshots.back().thermal.fans, machine->fullSensors.fans) << "light reads do not query fans";
    EXPECT_EQ(snapshots[15].thermal.state, ThermalState::serious) << "the thermal state is read every tick";

    sampler->setLive(true);  // tick 19
    machine->sensorReads.clear();
    tick(2);  // 20: live period 5
    tick(2);
    EXPECT_EQ(machine->sensorReads, (std::vector<bool>{false}));
}

TEST_F(SamplerTest, EmptySensorListIsAskedAgainEveryTick) {
    sampler->start();
    for (int i = 0; i < 3; ++i) tick();
    EXPECT_EQ(machine->sensorReads.size(), 3u);
    EXPECT_EQ(machine->sensorSourcesMade, 1);
}

TEST_F(SamplerTest, SelfCostComparesCPUTimeWithAbsoluteTime) {
    sampler->start();
    machine->self = SelfRecord{1000, 50'000'000, 7};
    machine->absoluteTime = 10'000;
    tick();
    EXPECT_EQ(snapshots.back().selfCost, (SelfCost{0, 50'000'000, 7})) << "no previous reading";

    machine->self->cpuTime = 1500;
    machine->absoluteTime = 12'000;
    tick();
    EXPECT_DOUBLE_EQ(snapshots.back().selfCost.cpu, 25.0);

    machine->self.reset();
    tick();
    EXPECT_EQ(snapshots.back().selfCost, SelfCost{});

    machine->self = SelfRecord{2500, 1, 2};  // compared with the reading before the gap
    machine->absoluteTime = 16'000;
    tick();
    EXPECT_DOUBLE_EQ(snapshots.back().selfCost.cpu, 25.0);

    machine->self->cpuTime = 2400;  // went backwards
    machine->absoluteTime = 17'000;
    tick();
    EXPECT_DOUBLE_EQ(snapshots.back().selfCost.cpu, 0.0);
    machine->self->cpuTime = 2600;  // the clock did not advance
    tick();
    EXPECT_DOUBLE_EQ(snapshots.back().selfCost.cpu, 0.0);
}

TEST_F(SamplerTest, EventsAreWrittenInOrderAndDeliveredOncePerTick) {
    sampler->start();
    TimelineEvent a{0, kMinute, EventKind::highCPU, 1, "a", "", "proc:one", "one", {}};
    TimelineEvent b{0, kMinute, EventKind::swap, 2, "b", "", std::nullopt, std::nullopt, {}};
    *nextEvents = {a, b};
    tick();
    EXPECT_EQ(history.events, (std::vector<TimelineEvent>{a, b}));
    ASSERT_EQ(eventCalls.size(), 1u);
    EXPECT_EQ(eventCalls[0].size(), 2u);
    tick();
    EXPECT_EQ(eventCalls.size(), 1u) << "no events, no call";
    EXPECT_EQ(snapshots.size(), 2u);
}

TEST_F(SamplerTest, UptimeComesFromTheBootTime) {
    sampler->start();
    tick();
    EXPECT_DOUBLE_EQ(snapshots.back().uptime, 0.0) << "unknown boot time";
    machine->bootTime = kMinute - 3600;
    tick();
    EXPECT_DOUBLE_EQ(snapshots.back().uptime, 3600 + 10);
}

TEST(SamplerThreadQueueTest, RunsOnItsOwnQueueAndFlushesSynchronously) {
    RecordingHistory history;
    Sampler::Dependencies deps;
    deps.platform = Platform::empty();
    deps.history = &history;
    MemoryDefaults defaults;
    deps.defaults = &defaults;
    Sampler sampler(std::move(deps));
    sampler.queue().sync([&] { sampler.sample(); });
    sampler.flushNow();
    ASSERT_EQ(history.minutes.size(), 1u);
    EXPECT_EQ(history.minutes[0].minute.pressureLevel, 1);
    EXPECT_FALSE(history.minutes[0].minute.gpu.has_value());
}

}  // namespace
}  // namespace qm
