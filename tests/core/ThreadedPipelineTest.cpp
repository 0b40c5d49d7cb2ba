// The sampler, the history store and the monitor on their real queues, as
// `quillmere record` runs them: a sampler thread, a database thread and the main loop.
// Run under ThreadSanitizer too, where a missing hand-off between them shows up.
#include <gtest/gtest.h>

#include "../history/TempDirectory.h"
#include "FakePlatform.h"
#include "engine/Monitor.h"
#include "history/HistoryStore.h"

namespace qm {
namespace {

// `onMainLoop`: the sampler ticks on the main loop instead of its own thread.
void runPipeline(bool onMainLoop) {
    testing::TempDirectory dir;
    MainLoop loop;
    HistoryStore store(dir.file("history.sqlite"), &loop);
    auto machine = std::make_shared<testing::FakeMachine>();
    MemoryDefaults defaults;
    Sampler::Dependencies deps;
    if (onMainLoop) deps.queue = borrowQueue(loop);
    deps.platform = testing::fakePlatform(machine);
    deps.history = &store;
    deps.defaults = &defaults;
    auto sampler = std::make_unique<Sampler>(std::move(deps));
    sampler->setPeriodOverride(0.01);

    Monitor monitor(loop, std::move(sampler), &store);
    int updates = 0;
    monitor.observe([&] {
        ++updates;
        // A window opening and closing while ticks are under way.
        if (updates == 5) monitor.insertDemand("popover");
        if (updates == 6) monitor.removeDemand("popover");
        if (updates == 30) loop.stop();
    });
    monitor.start();
    loop.runFor(20);  // a guard: thirty ticks take well under a second

    monitor.sampler().flushNow();  // from the main thread, as on SIGTERM
    store.waitUntilIdle();
    EXPECT_GE(updates, 30);
    EXPECT_TRUE(monitor.hasData());
    EXPECT_FALSE(monitor.cpuSeries().empty());
    EXPECT_FALSE(store.systemMinutesSync(0, 4e9, 60).empty()) << "the partial minute was written";
}

TEST(ThreadedPipeline, SnapshotsReachTheMonitorAndMinutesTheStoreAcrossThreads) { runPipeline(false); }

// As `quillmere record` runs it: one thread wakes per tick.
TEST(ThreadedPipeline, TheSamplerCanTickOnTheMainLoop) { runPipeline(true); }

}  // namespace
}  // namespace qm
