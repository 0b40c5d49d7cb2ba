// Reads this machine's real process table: bounds are loose on purpose because other
// programs share the CPUs.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
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

// A child that execs another program: the next read names it, finds its path and
// groups it under the new program.
TEST(LiveProcesses, AProcessThatExecsIsNamedAfterItsNewProgram) {
    int go[2];
    ASSERT_EQ(::pipe(go), 0);
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(go[1]);
        char byte;
        if (::read(go[0], &byte, 1) == 1) ::execl("/bin/sleep", "sleep", "60", static_cast<char*>(nullptr));
        ::_exit(1);
    }
    ::close(go[0]);
    ProcessReader reader(std::make_unique<LinuxProcessSource>(""),
                         std::make_unique<DesktopKeyResolver>(std::make_unique<LinuxCgroupSource>(""),
                                                              std::vector<std::string>{"/usr/share"}));
    auto find = [&](const ProcessReader::Result& r) -> std::pair<const ProcessSample*, const AppGroup*> {
        for (const auto& g : r.groups)
            for (const auto& p : g.processes)
                if (p.pid == child) return {&p, &g};
        return {nullptr, nullptr};
    };
    auto before = reader.readDetailed(true);
    auto [old, oldGroup] = find(before);
    ASSERT_TRUE(old);
    const std::string oldName = old->name;
    EXPECT_NE(oldName, "sleep");

    ASSERT_EQ(::write(go[1], "x", 1), 1);
    const auto comm = "/proc/" + std::to_string(child) + "/comm";
    for (int i = 0; i < 500 && readLine(comm).value_or("") != "sleep"; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    auto after = reader.readDetailed(true);
    auto [now, group] = find(after);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(go[1]);

    ASSERT_TRUE(now);
    EXPECT_EQ(now->name, "sleep");
    EXPECT_EQ(now->path.substr(now->path.rfind('/')), "/sleep") << now->path;
    // Grouped by name unless the test itself runs inside a desktop app's scope.
    if (oldGroup->id == "proc:" + oldName) {
        EXPECT_EQ(group->id, "proc:sleep");
    }
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
