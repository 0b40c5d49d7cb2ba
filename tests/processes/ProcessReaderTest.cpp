#include <gtest/gtest.h>

#include "FakeHelperTransport.h"
#include "FakeProcessSource.h"
#include "processes/ProcessReader.h"

namespace qm {
namespace {

using test::FakeProcessSource;

struct ReaderFixture : ::testing::Test {
    ManualClock clock;
    FakeProcessSource* source = nullptr;
    test::FakeHelperTransport* helper = nullptr;
    std::unique_ptr<ProcessReader> reader;

    void SetUp() override {
        auto src = std::make_unique<FakeProcessSource>();
        auto transport = std::make_unique<test::FakeHelperTransport>();
        source = src.get();
        helper = transport.get();
        helper->enabled = false;
        reader = std::make_unique<ProcessReader>(std::move(src), std::make_unique<test::ByNameResolver>(),
                                                 std::move(transport), clock);
    }
    // Advances both the process clock and the wall clock.
    void wait(double seconds) {
        source->advance(seconds);
        clock.advance(seconds);
    }
    const ProcessSample& sample(const ProcessReader::Result& r, int32_t pid) {
        for (const auto& s : r.processes)
            if (s.pid == pid) return s;
        throw std::runtime_error("no sample for pid " + std::to_string(pid));
    }
};

TEST_F(ReaderFixture, FirstSightReadsZeroThenCountersBecomeRates) {
    auto& p = source->add(100, FakeProcessSource::me, "/opt/homebrew/bin/tool");
    p.usage = UsageRecord{5'000'000'000, 4096, 0, 1000, 2000, 10};

    auto first = reader->readDetailed(false);
    EXPECT_EQ(sample(first, 100).cpu, 0);
    EXPECT_FALSE(sample(first, 100).power.has_value());
    EXPECT_EQ(sample(first, 100).diskReadRate, 0);
    EXPECT_EQ(sample(first, 100).memory, 4096u);

    // 2 s later: 1.5 s of CPU, 3 J, 4000 B read, 0 written, 20 wake-ups.
    wait(2);
    p.usage = UsageRecord{6'500'000'000, 8192, 3'000'000'000, 5000, 2000, 30};
    auto second = reader->readDetailed(false);
    const auto& s = sample(second, 100);
    EXPECT_DOUBLE_EQ(s.cpu, 75);
    ASSERT_TRUE(s.power.has_value());
    EXPECT_DOUBLE_EQ(*s.power, 1.5);
    EXPECT_DOUBLE_EQ(s.diskReadRate, 2000);
    EXPECT_DOUBLE_EQ(s.diskWriteRate, 0);
    EXPECT_DOUBLE_EQ(s.wakeups, 10);
    EXPECT_FALSE(s.approximate);
    EXPECT_FALSE(s.isRestricted);

    wait(1);
    p.usage = UsageRecord{6'500'000'000, 8192, 4'500'000'000, 5000, 2000, 30};
    auto third = reader->readDetailed(false);
    ASSERT_TRUE(sample(third, 100).power.has_value());
    EXPECT_DOUBLE_EQ(*sample(third, 100).power, 1.5);

    // An energy counter that reads 0 gives no power figure, not 0 W.
    wait(1);
    p.usage->energy = 0;
    EXPECT_FALSE(sample(reader->readDetailed(false), 100).power.has_value());
}

TEST_F(ReaderFixture, CountersGoingBackwardsOrReusedPidsStartOver) {
    auto& p = source->add(200, FakeProcessSource::me, "/usr/bin/old");
    p.usage = UsageRecord{9'000'000'000, 0, 0, 500, 500, 0};
    reader->readDetailed(false);

    // The CPU counter went down: zero for this tick, the new value is the next base.
    wait(1);
    p.usage = UsageRecord{1'000'000'000, 0, 0, 900, 100, 0};
    auto backwards = sample(reader->readDetailed(false), 200);
    EXPECT_EQ(backwards.cpu, 0);
    EXPECT_EQ(backwards.diskReadRate, 0);
    wait(1);
    p.usage = UsageRecord{1'250'000'000, 0, 0, 1900, 50, 0};
    auto after = sample(reader->readDetailed(false), 200);
    EXPECT_DOUBLE_EQ(after.cpu, 25);
    EXPECT_DOUBLE_EQ(after.diskReadRate, 1000);
    EXPECT_EQ(after.diskWriteRate, 0) << "a disk counter that went down reads 0";
    EXPECT_EQ(source->pathLookups[200], 1) << "identity is looked up once per lifetime";

    // Same pid, new process: new name and path, zero rates on its first tick.
    auto& reused = source->add(200, FakeProcessSource::me, "/usr/bin/new", 2);
    reused.usage = UsageRecord{2'000'000'000, 0, 0, 0, 0, 0};
    wait(1);
    auto fresh = sample(reader->readDetailed(false), 200);
    EXPECT_EQ(fresh.name, "new");
    EXPECT_EQ(fresh.path, "/usr/bin/new");
    EXPECT_EQ(fresh.cpu, 0);
    EXPECT_EQ(source->pathLookups[200], 2);
}

// exec keeps the pid, the start time and the counters, and changes the command name:
// the name, the path and the group follow, and the rates go on without a restart.
TEST_F(ReaderFixture, ANewProgramInTheSameProcessIsNamedAndGroupedAgain) {
    auto& p = source->add(300, FakeProcessSource::me, "/usr/bin/bash");
    p.usage = UsageRecord{1'000'000'000, 0, 0, 0, 0, 0};
    auto first = reader->readDetailed(false);
    EXPECT_EQ(sample(first, 300).name, "bash");
    ASSERT_EQ(first.groups.size(), 1u);
    EXPECT_EQ(first.groups[0].id, "proc:bash");

    wait(1);
    p.usage = UsageRecord{1'500'000'000, 0, 0, 0, 0, 0};
    reader->readDetailed(false);
    EXPECT_EQ(source->pathLookups[300], 1) << "nothing changed: no new lookup";

    wait(1);
    p.info.comm = "python3";
    p.path = "/usr/bin/python3.11";
    p.usage = UsageRecord{2'000'000'000, 0, 0, 0, 0, 0};
    auto after = reader->readDetailed(false);
    const ProcessSample& s = sample(after, 300);
    EXPECT_EQ(s.name, "python3.11");
    EXPECT_EQ(s.path, "/usr/bin/python3.11");
    EXPECT_DOUBLE_EQ(s.cpu, 50) << "the same process: its rates carry on";
    ASSERT_EQ(after.groups.size(), 1u);
    EXPECT_EQ(after.groups[0].id, "proc:python3.11");
    EXPECT_EQ(after.groups[0].name, "python3.11");
    EXPECT_EQ(source->pathLookups[300], 2);
}

// Linux: another user's disk counters come only from the helper, on the ticks that
// ask it; the ticks in between carry the last real counters instead of reading 0.
// Everything else (and the wake-ups the helper cannot count) stays the source's own.
TEST_F(ReaderFixture, DiskCountersOnlyTheHelperReadsCarryOverTheTicksBetween) {
    auto& daemon = source->add(20, 0, "/usr/sbin/daemon");
    daemon.usage = UsageRecord{1'000'000'000, 4096, 0, 0, 0, 100};
    daemon.usage->diskCounted = false;
    helper->enabled = true;
    auto recordWith = [](uint64_t written) {
        std::vector<uint8_t> wire;
        RawProcRecord{20, 0, 1'000'000'000, 0, 4096, 0, 0, written, 0}.packInto(wire);
        return wire;
    };
    auto unknown = sample(reader->readDetailed(false), 20);  // before the helper answered: no base for disk
    EXPECT_TRUE(unknown.approximate) << "disk figures nobody could read are an estimate";
    wait(1);
    helper->reply = recordWith(50'000'000);
    daemon.usage->wakeups = 130;
    auto firstAnswer = sample(reader->readDetailed(true), 20);
    EXPECT_EQ(firstAnswer.diskWriteRate, 0) << "the whole counter is no rate";
    EXPECT_DOUBLE_EQ(firstAnswer.wakeups, 30) << "the helper's zero wake-ups replace nothing";
    EXPECT_FALSE(firstAnswer.approximate);
    for (int i = 0; i < 5; ++i) {
        wait(1);
        auto between = sample(reader->readDetailed(false), 20);
        EXPECT_EQ(between.diskWriteRate, 0);
        EXPECT_FALSE(between.approximate) << "carried helper counters are exact, only late";
    }
    wait(1);
    helper->reply = recordWith(56'000'000);
    auto measured = sample(reader->readDetailed(true), 20);
    EXPECT_DOUBLE_EQ(measured.diskWriteRate, 6'000'000) << "six ticks' bytes on the tick that read them";
    EXPECT_FALSE(measured.approximate);
    EXPECT_TRUE(measured.isRestricted);

    // A process whose disk the source reads itself keeps its own counters.
    auto& own = source->add(21, FakeProcessSource::me, "/usr/bin/tool");
    own.usage = UsageRecord{0, 0, 0, 0, 7000, 0};
    std::vector<uint8_t> wire;
    RawProcRecord{21, 0, 0, 0, 0, 0, 0, 1, 0}.packInto(wire);
    helper->reply = wire;
    reader->readDetailed(true);
    wait(1);
    own.usage->diskWrite = 9000;
    auto ownSample = sample(reader->readDetailed(true), 21);
    EXPECT_DOUBLE_EQ(ownSample.diskWriteRate, 2000);
    EXPECT_FALSE(ownSample.approximate);
}

TEST_F(ReaderFixture, NamesForKernelUnnamedAndVersionedExecutables) {
    source->add(0, 0, "");
    auto& unnamed = source->add(4711, FakeProcessSource::me, "");
    unnamed.info.comm = "";
    auto& versioned = source->add(300, FakeProcessSource::me, "/Users/me/.local/share/mytool/versions/2.1.4");
    versioned.argumentExecutable = "/Users/me/.local/share/mytool/versions/2.1.4";
    auto& aliased = source->add(301, FakeProcessSource::me, "/opt/x/versions/1.0");
    aliased.argumentExecutable = "/usr/local/bin/claude";
    source->add(302, FakeProcessSource::me, "/1.2.3");

    auto r = reader->readDetailed(false);
    EXPECT_EQ(sample(r, 0).name, "kernel_task");
    EXPECT_EQ(sample(r, 0).path, "");
    EXPECT_EQ(sample(r, 4711).name, "Process 4711");
    EXPECT_EQ(sample(r, 300).name, "mytool");
    EXPECT_EQ(sample(r, 301).name, "claude");
    EXPECT_EQ(sample(r, 302).name, "1.2.3") << "no better name: the version stays";
}

TEST_F(ReaderFixture, OtherUsersProcessesExactUnreadableOrCarriedOver) {
    auto& readable = source->add(10, 0, "/usr/sbin/daemon");
    readable.usage = UsageRecord{1'000'000'000, 1 << 20, 0, 0, 0, 0};
    auto& locked = source->add(11, 0, "/usr/libexec/locked");
    locked.usage.reset();
    source->psOutput = "   11     0   0:01.00   2048\n";

    auto first = reader->readDetailed(true);
    EXPECT_TRUE(sample(first, 10).isRestricted);
    EXPECT_FALSE(sample(first, 10).approximate) << "readable figures of another user are exact";
    EXPECT_EQ(sample(first, 10).memory, 1u << 20);
    EXPECT_TRUE(sample(first, 11).approximate);
    EXPECT_TRUE(sample(first, 11).isRestricted);
    EXPECT_EQ(sample(first, 11).memory, 2048u * 1024);
    EXPECT_TRUE(first.restrictedVisible);
    EXPECT_FALSE(first.helperActive);

    // A failed usage call of another user is not retried while the process lives.
    wait(1);
    reader->readDetailed(false);
    reader->readDetailed(false);
    EXPECT_EQ(source->usageCalls[11], 1);

    // ps: one more second of CPU in the 5 s since the first run.
    wait(4);
    source->psOutput = "11 0 0:02.00 4096\n";
    auto later = reader->readDetailed(true);
    EXPECT_NEAR(sample(later, 11).cpu, 20, 1e-9);
    EXPECT_EQ(sample(later, 11).memory, 4096u * 1024);

    // Once ps no longer lists it, ticks without includeRestricted carry the last figures.
    wait(5);
    source->psOutput = "";
    auto withoutPS = reader->readDetailed(true);
    EXPECT_EQ(sample(withoutPS, 11).memory, 0u);
    EXPECT_TRUE(withoutPS.restrictedVisible);
    EXPECT_FALSE(reader->readDetailed(false).restrictedVisible) << "an empty ps cache shows nothing";
}

TEST_F(ReaderFixture, LastRestrictedSampleIsReusedOnlyForTheSameName) {
    auto& locked = source->add(20, 0, "/usr/libexec/a");
    locked.usage.reset();
    // The helper answers on the restricted tick with exact figures.
    helper->enabled = true;
    RawProcRecord r{20, 0, 1'000'000'000, 0, 7777, 0, 0, 0, 0};
    std::vector<uint8_t> wire;
    r.packInto(wire);
    helper->reply = wire;
    auto full = reader->readDetailed(true);
    EXPECT_TRUE(full.helperActive);
    EXPECT_EQ(sample(full, 20).memory, 7777u);
    EXPECT_FALSE(sample(full, 20).approximate);

    // Between restricted ticks the same process keeps its figures; the usage call
    // failed once for another user, so it is not asked again.
    wait(1);
    auto carried = reader->readDetailed(false);
    EXPECT_EQ(sample(carried, 20).memory, 7777u);
    EXPECT_FALSE(carried.helperActive);

    // A different program under that pid gets a placeholder instead.
    auto& other = source->add(20, 0, "/usr/libexec/b", 9);
    other.usage.reset();
    wait(1);
    auto placeholder = sample(reader->readDetailed(false), 20);
    EXPECT_EQ(placeholder.name, "b");
    EXPECT_EQ(placeholder.memory, 0u);
    EXPECT_TRUE(placeholder.approximate);
}

TEST_F(ReaderFixture, HelperBatchEvenEmptyMakesTheTickHelperActive) {
    source->add(30, FakeProcessSource::me, "/bin/x");
    helper->enabled = true;
    helper->reply = std::vector<uint8_t>(100, 0);  // malformed: no records, still an answer
    auto r = reader->readDetailed(true);
    EXPECT_TRUE(r.helperActive);
    EXPECT_TRUE(r.restrictedVisible);
    EXPECT_EQ(source->psRuns, 0);
    auto summary = reader->read(true);
    EXPECT_EQ(summary.processCount, 1);
    EXPECT_EQ(summary.groups.size(), 1u);
}

TEST_F(ReaderFixture, PSRunsAtMostEveryFourAndAHalfSeconds) {
    source->add(40, 0, "/usr/libexec/locked").usage.reset();
    source->psOutput = "40 0 00:00:01 100\n";
    reader->readDetailed(true);
    wait(2);
    reader->readDetailed(true);
    EXPECT_EQ(source->psRuns, 1);
    wait(2.4);
    reader->readDetailed(true);
    EXPECT_EQ(source->psRuns, 1);
    wait(0.1);
    reader->readDetailed(true);
    EXPECT_EQ(source->psRuns, 2);

    // ps that cannot start leaves the old figures in place.
    source->psOutput.reset();
    wait(5);
    EXPECT_EQ(sample(reader->readDetailed(true), 40).memory, 100u * 1024);
}

TEST_F(ReaderFixture, PSIsNotRunWhenEveryProcessCanBeRead) {
    source->add(50, 0, "/usr/sbin/sshd");
    source->psOutput = "50 0 0:00.00 1\n";
    auto r = reader->readDetailed(true);
    EXPECT_EQ(source->psRuns, 0);
    EXPECT_TRUE(r.restrictedVisible);
}

// Linux keeps no energy per process: the machine's power (RAPL, or a discharging
// battery's 5.064 W as in the laptop fixture) is shared out by CPU time.
TEST_F(ReaderFixture, MachinePowerIsSharedByCPUTimeWhereProcessesHaveNoEnergy) {
    source->energyMeasured = false;
    auto& busy = source->add(100, FakeProcessSource::me, "/usr/bin/make");
    auto& light = source->add(101, FakeProcessSource::me, "/usr/bin/bash");
    source->add(102, FakeProcessSource::me, "/usr/bin/sleep");
    reader->setMachinePower(std::nullopt);
    reader->readDetailed(false);
    wait(2);
    busy.usage->cpuTime = 1'500'000'000;  // 75 % of a core
    light.usage->cpuTime = 500'000'000;   // 25 %
    auto unknown = reader->readDetailed(false);
    EXPECT_FALSE(sample(unknown, 100).power) << "no machine power, no shares";
    EXPECT_FALSE(sample(unknown, 100).approximate);

    reader->setMachinePower(5.064);
    wait(2);
    busy.usage->cpuTime += 1'500'000'000;
    light.usage->cpuTime += 500'000'000;
    auto shared = reader->readDetailed(false);
    EXPECT_DOUBLE_EQ(*sample(shared, 100).power, 5.064 * 0.75);
    EXPECT_DOUBLE_EQ(*sample(shared, 101).power, 5.064 * 0.25);
    EXPECT_DOUBLE_EQ(*sample(shared, 102).power, 0);
    EXPECT_TRUE(sample(shared, 100).approximate);
    double groups = 0;
    for (const auto& g : shared.groups) groups += g.power.value_or(0);
    EXPECT_DOUBLE_EQ(groups, 5.064);

    // Nobody used CPU: everyone draws 0 W rather than an invented share.
    wait(2);
    auto idle = reader->readDetailed(false);
    EXPECT_DOUBLE_EQ(*sample(idle, 100).power, 0);

    // A platform that measures energy per process keeps its own figures.
    std::vector<ProcessSample> measured(1);
    measured[0].cpu = 50;
    shareMachinePower(measured, std::nullopt);
    EXPECT_FALSE(measured[0].power);
    shareMachinePower(measured, -1.0);
    EXPECT_FALSE(measured[0].power) << "a nonsense reading is no reading";
}

// A browser's two processes share the GPU with a game; the shell has no GPU client.
TEST_F(ReaderFixture, GPUSharesPerProcessAndSummedPerGroup) {
    auto client = [](uint64_t id, uint64_t renderNanos, std::optional<uint64_t> memory) {
        DrmClient c;
        c.driver = "i915";
        c.device = "0000:00:02.0";
        c.id = id;
        c.engines["render"].busy = renderNanos;
        c.memory = memory;
        return c;
    };
    source->add(100, FakeProcessSource::me, "/usr/lib/firefox/firefox");
    source->add(101, FakeProcessSource::me, "/usr/lib/firefox/firefox");
    source->add(200, FakeProcessSource::me, "/usr/games/supertuxkart");
    source->add(300, FakeProcessSource::me, "/usr/bin/bash");
    source->gpu = {{100, client(1, 0, 1 << 20)}, {101, client(2, 0, 2 << 20)}, {200, client(3, 0, std::nullopt)}};
    auto first = reader->readDetailed(false);
    EXPECT_FALSE(sample(first, 100).gpu) << "no interval yet";
    EXPECT_EQ(sample(first, 100).gpuMemory, 1u << 20);

    wait(2);
    source->gpu = {{100, client(1, 200'000'000, 1 << 20)},
                   {101, client(2, 600'000'000, 2 << 20)},
                   {200, client(3, 1'000'000'000, std::nullopt)}};
    auto second = reader->readDetailed(false);
    EXPECT_DOUBLE_EQ(*sample(second, 100).gpu, 10);
    EXPECT_DOUBLE_EQ(*sample(second, 101).gpu, 30);
    EXPECT_DOUBLE_EQ(*sample(second, 200).gpu, 50);
    EXPECT_FALSE(sample(second, 200).gpuMemory) << "the driver did not say";
    EXPECT_FALSE(sample(second, 300).gpu) << "no GPU client: no figure, not 0";
    for (const auto& g : second.groups) {
        if (g.id == "proc:firefox") {
            EXPECT_DOUBLE_EQ(*g.gpu, 40);
            EXPECT_EQ(g.gpuMemory, 3u << 20);
        } else if (g.id == "proc:bash") {
            EXPECT_FALSE(g.gpu);
            EXPECT_FALSE(g.gpuMemory);
        }
    }
}

}  // namespace
}  // namespace qm
