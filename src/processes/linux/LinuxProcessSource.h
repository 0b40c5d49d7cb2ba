// The process facts of a Linux machine, read below qm::systemRoot().
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "core/linux/DrmDescriptors.h"
#include "processes/DesktopKeys.h"
#include "processes/ProcessSource.h"
#include "processes/linux/ProcStat.h"

namespace qm {

// CPU time and the clock are both in nanoseconds (clock ticks × 10⁹ / USER_HZ, and
// CLOCK_MONOTONIC), so the reader's timebase is 1 and its percent formula holds as is.
//
// What a tick costs is mostly the kernel building /proc files, so each tick reads as
// little as it can, through a handle on the /proc directory (no path walks):
//   - once per process lifetime: stat (name, parent, start time, kernel-thread flag)
//     and status: the real uid (the owner of /proc/<pid> is root for processes that
//     turn off core dumps, whoever runs them) and the split of its resident memory;
//   - every tick, for a process with one thread: schedstat, the scheduler's run time
//     and switch count, the cheapest file there is, reread from offset 0 through a
//     handle kept open for the process's lifetime (opening is most of the cost of a
//     /proc file; the handle of a process that exited reads nothing, so a reused pid
//     is opened afresh). If the process did not run, its CPU time, resident size and
//     counters cannot have grown, and nothing else is read;
//   - every tick, for a process with several threads, and for one that ran: stat
//     (CPU time of all threads, thread count) and statm (resident and shared pages);
//     status again only when the shared pages changed;
//   - io, only for the user's own processes (every process as root) and only when
//     they ran; other users' disk counters come from quillmere-helper when its
//     socket is there, and are otherwise marked not counted.
// A pid whose start time changed is a new process and is read afresh.
//
// A process's memory is its footprint, what it alone holds in RAM, so that a group,
// an app and the whole list add up to the machine's app memory (AnonPages + Shmem):
//   memory = RssAnon + RssShmem × min(1, Shmem / Σ RssShmem of all processes)
// RssAnon is its private anonymous memory (heap, stacks, private writes to mapped
// files). Shared memory (shm, memfd, tmpfs mappings) shows in full in every process
// that maps it, so each gets a part in proportion to what it maps, scaled to what the
// machine holds once. Mapped files (the executable, shared libraries, page cache) are
// never counted: they belong to the machine's cache and are counted there. Swapped-out
// pages are not in RAM and not counted. Left over: copy-on-write pages a forked child
// still shares with its parent count in both until one writes them, as the kernel
// counts them in RssAnon. Kernel threads hold nothing of their own and read 0.
class LinuxProcessSource : public ProcessSource {
public:
    // The share of a tick that counting the wake-ups of multi-threaded processes may
    // take, in nanoseconds of CPU per listed process (see wakeupBudgetSpent()).
    static constexpr double wakeupBudgetPerProcess = 2000;
    // Descriptors left to the rest of the program when schedstat handles are kept.
    static constexpr size_t descriptorReserve = 512;
    // At most this many handles: the kernel keeps a 4 KiB buffer behind each.
    static constexpr size_t maxKeptHandles = 2048;

    explicit LinuxProcessSource(std::string root);
    ~LinuxProcessSource() override;
    LinuxProcessSource(const LinuxProcessSource&) = delete;
    LinuxProcessSource& operator=(const LinuxProcessSource&) = delete;

    std::vector<BasicInfo> allProcesses() override;
    uint64_t absoluteTime() override;
    double timebase() const override { return 1.0; }
    uint32_t ownUID() const override { return ownUID_; }
    std::optional<UsageRecord> usage(const BasicInfo& process) override;
    std::string executablePath(const BasicInfo& process) override;
    std::optional<std::string> argumentExecutable(const BasicInfo& process) override;
    std::optional<std::string> runPS() override;
    bool measuresEnergy() const override { return false; }
    // The DRM clients in the fdinfo of each process's GPU descriptors (see
    // DrmDescriptorCache for when the descriptors are looked for); kernel threads have none.
    std::vector<DrmClientTracker::Owned> gpuClients(const std::vector<BasicInfo>& processes) override;

    // Multi-threaded processes that ran but whose threads were not counted in the last
    // tick because the budget was spent (their wake-ups read 0 for that tick).
    size_t wakeupsSkipped() const { return wakeupsSkipped_; }

private:
    struct Process {
        uint64_t startTicks = 0;  // clock ticks after boot
        uint64_t startTime = 0;   // microseconds since the epoch
        int32_t ppid = 0;
        uint32_t uid = 0;
        std::string comm;
        uint64_t threads = 1;
        uint64_t cpuTicks = 0;      // all threads
        bool kernelThread = false;  // no memory of its own
        uint64_t anonPages = 0;     // private anonymous pages
        uint64_t shmemPages = 0;    // shared memory it maps (all of it, before the share)
        uint64_t sharedPages = 0;   // file + shmem pages when status was last read
        bool statusSplits = true;   // whether status has RssAnon, RssFile and RssShmem
        uint64_t runtime = 0;       // scheduler run time of the main thread, ns
        uint64_t switches = 0;      // context switches: the main thread's, or all threads' when summed
        bool switchesKnown = false;
        uint64_t wakeups = 0;  // the running count handed to the reader
        uint64_t diskRead = 0;
        uint64_t diskWritten = 0;
        uint64_t diskAtTicks = UINT64_MAX;  // cpuTicks when io was last read
        bool diskReadable = false;          // whether that read succeeded
        uint64_t seen = 0;                  // the tick that last listed it
        uint64_t previousCpuTicks = 0;
        uint64_t ranTicks = 0;  // CPU ticks used since the last listing
        int schedFd = -1;       // /proc/<pid>/schedstat kept open, or -1
    };

    // schedstat into buffer_, reread through the kept handle; the length, or -1.
    long readSchedstat(const char* pidName, Process& process);
    void closeSchedstat(Process& process);

    // Reads a file below /proc/<pid> into buffer_ in one read; the length, or -1.
    long readProcFile(const char* pidName, const char* file);
    bool readStat(const char* pidName, Process& process, bool& isNew);
    void readMemory(const char* pidName, Process& process);
    void takeStatusMemory(Process& process, const StatusMemory& memory);
    void shareSharedMemory();
    void countThreadSwitches(std::vector<std::pair<int32_t, Process*>>& candidates, size_t listed);
    std::string procPath(int32_t pid, const char* file) const;

    std::string root_;
    int procFd_ = -1;
    uint32_t ownUID_;
    uint64_t bootTime_ = 0;  // seconds since the epoch, read once so start times stay stable
    double nanosPerTick_;
    uint64_t pageSize_;
    double shmemScale_ = 1.0;  // each process's part of the shared memory it maps
    uint64_t tick_ = 0;
    size_t wakeupsSkipped_ = 0;
    size_t openSchedstats_ = 0;
    size_t schedstatBudget_ = 0;
    std::unordered_map<int32_t, Process> processes_;
    DrmDescriptorCache gpuDescriptors_;
    char buffer_[4096];
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
