#include <gtest/gtest.h>

#include <deque>

#include "readers/CPUReader.h"

namespace qm {
namespace {

using CoreType = CPUStats::CoreType;

// Answers with the queued counter arrays, one per call; an empty array is a failed call.
class ScriptedCPU : public CPUSource {
public:
    ScriptedCPU(std::deque<std::vector<uint32_t>>* ticks, std::optional<std::array<double, 3>> load)
        : ticks_(ticks), load_(load) {}
    std::vector<uint32_t> processorTicks() override {
        if (ticks_->empty()) return {};
        auto next = ticks_->front();
        ticks_->pop_front();
        return next;
    }
    std::optional<std::array<double, 3>> loadAverage() override { return load_; }

private:
    std::deque<std::vector<uint32_t>>* ticks_;
    std::optional<std::array<double, 3>> load_;
};

// Counters of one CPU in the kernel's order: user, system, idle, nice.
std::vector<uint32_t> cpu(uint32_t user, uint32_t system, uint32_t idle, uint32_t nice) {
    return {user, system, idle, nice};
}
std::vector<uint32_t> join(std::initializer_list<std::vector<uint32_t>> cpus) {
    std::vector<uint32_t> all;
    for (const auto& c : cpus) all.insert(all.end(), c.begin(), c.end());
    return all;
}

TEST(CPUSharesTest, BusySharesPerCoreAndOverall) {
    auto previous = join({cpu(100, 100, 100, 100), cpu(0, 0, 0, 0)});
    auto current = join({cpu(130, 110, 150, 110), cpu(0, 0, 0, 0)});
    CPUStats stats = cpuShares(previous, current);
    ASSERT_EQ(stats.perCore.size(), 2u);
    EXPECT_DOUBLE_EQ(stats.perCore[0], 50.0);  // 30 + 10 + 10 busy of 100
    EXPECT_DOUBLE_EQ(stats.perCore[1], 0.0) << "a core whose counters did not move is idle, not NaN";
    EXPECT_DOUBLE_EQ(stats.user, 40.0) << "nice counts as user time";
    EXPECT_DOUBLE_EQ(stats.system, 10.0);
    EXPECT_DOUBLE_EQ(stats.total, 50.0);
}

TEST(CPUSharesTest, CountersThatWrapStillGiveTheRightDifference) {
    const uint32_t nearTop = 0xFFFF'FFF0u;
    auto previous = cpu(nearTop, 0, nearTop, 0);
    auto current = cpu(0x10, 0, nearTop + 0x20, 0);  // user wrapped after 0x20 ticks
    CPUStats stats = cpuShares(previous, current);
    EXPECT_DOUBLE_EQ(stats.perCore[0], 50.0);
    EXPECT_DOUBLE_EQ(stats.total, 50.0);
}

TEST(CPUSharesTest, DifferentLengthsGiveZerosForTheNewCPUCount) {
    CPUStats stats = cpuShares(cpu(1, 1, 1, 1), join({cpu(5, 5, 5, 5), cpu(5, 5, 5, 5)}));
    EXPECT_EQ(stats.perCore, (std::vector<double>{0, 0}));
    EXPECT_EQ(stats.total, 0);
}

TEST(CPUReaderTest, FirstCallZerosThenSharesAndCPUCountChanges) {
    std::deque<std::vector<uint32_t>> ticks{
        join({cpu(10, 10, 10, 0), cpu(10, 10, 10, 0)}),
        join({cpu(20, 10, 20, 0), cpu(10, 10, 30, 0)}),
        join({cpu(30, 10, 30, 0), cpu(10, 10, 40, 0), cpu(0, 0, 0, 0)}),  // a CPU came online
        join({cpu(40, 10, 30, 0), cpu(10, 10, 50, 0), cpu(5, 0, 5, 0)}),
    };
    CPUReader reader(std::make_unique<ScriptedCPU>(&ticks, std::array<double, 3>{1.5, 1.0, 0.5}),
                     {CoreType::performance, CoreType::efficiency});

    CPUStats first = reader.read();
    EXPECT_EQ(first.perCore, (std::vector<double>{0, 0}));
    EXPECT_EQ(first.total, 0);
    EXPECT_EQ(first.coreTypes, (std::vector<CoreType>{CoreType::performance, CoreType::efficiency}));
    EXPECT_EQ(first.load, (std::array<double, 3>{1.5, 1.0, 0.5}));

    CPUStats second = reader.read();
    EXPECT_EQ(second.perCore, (std::vector<double>{50, 0}));
    EXPECT_DOUBLE_EQ(*second.average(CoreType::performance), 50);

    CPUStats grown = reader.read();
    EXPECT_EQ(grown.perCore, (std::vector<double>{0, 0, 0}));
    EXPECT_EQ(grown.coreTypes, std::vector<CoreType>(3, CoreType::unknown))
        << "a type table that no longer fits is not trusted";

    CPUStats normal = reader.read();
    EXPECT_EQ(normal.perCore, (std::vector<double>{100, 0, 50}));
}

TEST(CPUReaderTest, FailedKernelCallGivesZerosAndKeepsThePreviousCounters) {
    std::deque<std::vector<uint32_t>> ticks{cpu(10, 0, 10, 0), {}, cpu(20, 0, 20, 0), {1, 2}};
    CPUReader reader(std::make_unique<ScriptedCPU>(&ticks, std::nullopt), {});
    reader.read();
    CPUStats failed = reader.read();
    EXPECT_TRUE(failed.perCore.empty() && failed.coreTypes.empty());
    EXPECT_EQ(failed.load, (std::array<double, 3>{0, 0, 0}));
    EXPECT_EQ(reader.previous(), cpu(10, 0, 10, 0));

    CPUStats after = reader.read();
    EXPECT_EQ(after.perCore, (std::vector<double>{50})) << "measured against the last good counters";
    EXPECT_EQ(after.coreTypes, (std::vector<CoreType>{CoreType::unknown}));

    CPUStats truncated = reader.read();  // fewer than four counters: not even one CPU
    EXPECT_TRUE(truncated.perCore.empty());
    EXPECT_EQ(reader.previous(), cpu(20, 0, 20, 0));
}

}  // namespace
}  // namespace qm
