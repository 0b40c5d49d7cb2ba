// Reads this machine's real process table: bounds are loose on purpose because other
// programs share the CPUs.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "core/FileRead.h"
#include "processes/ProcessReader.h"
#include "processes/linux/LinuxProcessSource.h"

namespace qm {
namespace {

TEST(LiveProcesses, BusyChildShowsAFullCoreAndCountsAddUp) {
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        volatile uint64_t spin = 0;
        while (true) spin = spin + 1;
    }
    ProcessReader reader(std::make_unique<LinuxProcessSource>(""),
                         std::make_unique<DesktopKeyResolver>(std::make_unique<LinuxCgroupSource>(""),
                                                              std::vector<std::string>{"/usr/share"}));
    // The kernel's own CPU clock of the child, read beside each reader pass, says how
    // busy it really was while other programs compete for the CPUs.
    clockid_t childClock;
    ASSERT_EQ(::clock_getcpuclockid(child, &childClock), 0);
    auto stamp = [&](double& cpu, double& wall) {
        timespec ts{};
        ::clock_gettime(childClock, &ts);
        cpu = static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
        ::clock_gettime(CLOCK_MONOTONIC, &ts);
        wall = static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
    };
    double cpu0, wall0, cpu1, wall1;
    stamp(cpu0, wall0);
    reader.readDetailed(true);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    auto second = reader.readDetailed(true);
    stamp(cpu1, wall1);
    double expected = (cpu1 - cpu0) / (wall1 - wall0) * 100;
    size_t procEntries = 0;
    for (const auto& name : listDirectory("/proc"))
        if (parseUInt(name)) ++procEntries;
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);

    const AppGroup* home = nullptr;
    const ProcessSample* busy = nullptr;
    size_t grouped = 0;
    for (const auto& g : second.groups) {
        grouped += g.processes.size();
        for (const auto& p : g.processes)
            if (p.pid == child) {
                home = &g;
                busy = &p;
            }
    }
    ASSERT_TRUE(busy);
    EXPECT_NEAR(busy->cpu, expected, 12) << "about one full core when the machine is idle";
    EXPECT_GT(busy->cpu, 20);
    EXPECT_LT(busy->cpu, 115);
    EXPECT_GE(home->cpu, busy->cpu);
    EXPECT_FALSE(busy->approximate);
    EXPECT_EQ(grouped, second.processes.size());
    EXPECT_NEAR(static_cast<double>(grouped), static_cast<double>(procEntries), 5);
}

}  // namespace
}  // namespace qm
