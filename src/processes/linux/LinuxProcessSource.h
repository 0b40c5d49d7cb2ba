// The process facts of a Linux machine, read below qm::systemRoot().
#pragma once

#include <string>
#include <unordered_map>

#include "processes/DesktopKeys.h"
#include "processes/ProcessSource.h"

namespace qm {

// CPU time and the clock are both in nanoseconds (clock ticks × 10⁹ / USER_HZ, and
// CLOCK_MONOTONIC), so the reader's timebase is 1 and its percent formula holds as is.
class LinuxProcessSource : public ProcessSource {
public:
    explicit LinuxProcessSource(std::string root);

    std::vector<BasicInfo> allProcesses() override;
    uint64_t absoluteTime() override;
    double timebase() const override { return 1.0; }
    uint32_t ownUID() const override { return ownUID_; }
    std::optional<UsageRecord> usage(const BasicInfo& process) override;
    std::string executablePath(const BasicInfo& process) override;
    std::optional<std::string> argumentExecutable(const BasicInfo& process) override;
    std::optional<std::string> runPS() override;

private:
    // What enumeration already read from /proc/<pid>/stat, used by usage() in the same tick.
    struct StatFacts {
        uint64_t cpuTicks = 0;
        uint64_t rssPages = 0;
    };

    // The last disk counters of a process, reused while its CPU time stands still.
    struct DiskFacts {
        uint64_t startTime = 0;
        uint64_t cpuTicks = 0;
        uint64_t read = 0;
        uint64_t written = 0;
    };

    std::string procPath(int32_t pid, const char* file) const;

    std::string root_;
    uint32_t ownUID_;
    uint64_t bootTime_ = 0;  // seconds since the epoch, read once so start times stay stable
    double nanosPerTick_;
    uint64_t pageSize_;
    std::unordered_map<int32_t, StatFacts> facts_;
    std::unordered_map<int32_t, DiskFacts> lastDisk_, disk_;
};

// cgroup, kernel-thread flag and desktop files for the desktop grouping rules.
class LinuxCgroupSource : public CgroupSource {
public:
    explicit LinuxCgroupSource(std::string root) : root_(std::move(root)) {}
    std::optional<std::string> cgroupFile(int32_t pid) override;
    bool isKernelThread(int32_t pid) override;
    std::optional<std::string> readText(const std::string& path) override;

private:
    std::string root_;
};

}  // namespace qm
