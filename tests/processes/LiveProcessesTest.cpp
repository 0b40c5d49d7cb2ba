// Reads this machine's real process table: bounds are loose on purpose because other
// programs share the CPUs.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

// The schedstat handles kept per process: one for a process that is listed, none once
// it has exited (a leak would grow by one descriptor per process ever seen), and none
// after the source goes.
TEST(LiveProcesses, KeptHandlesFollowTheirProcesses) {
    auto handlesTo = [](const std::vector<pid_t>& pids) {
        size_t count = 0;
        for (const auto& fd : listDirectory("/proc/self/fd")) {
            auto target = readLink("/proc/self/fd/" + fd);
            if (!target || !target->ends_with("/schedstat")) continue;
            if (pids.empty()) ++count;
            for (pid_t pid : pids)
                if (*target == "/proc/" + std::to_string(pid) + "/schedstat") ++count;
        }
        return count;
    };
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::pause();
            ::_exit(0);
        }
        children.push_back(child);
    }
    {
        LinuxProcessSource source("");
        const size_t listed = source.allProcesses().size();
        rlimit files{};
        ::getrlimit(RLIMIT_NOFILE, &files);
        if (files.rlim_cur != RLIM_INFINITY && listed + 64 + LinuxProcessSource::descriptorReserve > files.rlim_cur) {
            for (pid_t child : children) ::kill(child, SIGKILL);
            for (pid_t child : children) ::waitpid(child, nullptr, 0);
            GTEST_SKIP() << "too few descriptors allowed to keep a handle per process here";
        }
        source.allProcesses();
        EXPECT_EQ(handlesTo(children), children.size()) << "idle children are reread through their handles";
        for (pid_t child : children) ::kill(child, SIGKILL);
        for (pid_t child : children) ::waitpid(child, nullptr, 0);
        auto after = source.allProcesses();
        EXPECT_EQ(handlesTo(children), 0u);
        for (const auto& info : after)
            EXPECT_EQ(std::count(children.begin(), children.end(), info.pid), 0) << "exited, not listed";
    }
    EXPECT_EQ(handlesTo({}), 0u) << "the source closes every handle";
}

}  // namespace
}  // namespace qm
