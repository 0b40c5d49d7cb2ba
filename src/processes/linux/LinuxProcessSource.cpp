#include "processes/linux/LinuxProcessSource.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "core/FileRead.h"
#include "core/Paths.h"
#include "processes/ProcessReader.h"
#include "processes/RunCommand.h"
#include "processes/Sources.h"
#include "processes/linux/BootTime.h"
#include "processes/linux/ProcStat.h"
#include "processes/linux/SocketHelperTransport.h"

namespace qm {

namespace {

uint64_t threadCPUNanos() {
    timespec ts{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1'000'000'000ull + static_cast<uint64_t>(ts.tv_nsec);
}

// Reads a whole small file relative to a directory handle in one read (proc files
// of this size are produced in one go); the length, or -1.
long readAt(int dirFd, const char* path, char* buffer, size_t size) {
    int fd = ::openat(dirFd, path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -1;
    ssize_t n;
    do {
        n = ::read(fd, buffer, size);
    } while (n < 0 && errno == EINTR);
    ::close(fd);
    return n;
}

}  // namespace

LinuxProcessSource::LinuxProcessSource(std::string root)
    : root_(std::move(root)), ownUID_(::getuid()), gpuDescriptors_(root_ + "/proc") {
    nanosPerTick_ = nanosPerClockTick();
    long page = ::sysconf(_SC_PAGESIZE);
    pageSize_ = page > 0 ? static_cast<uint64_t>(page) : 4096;
    bootTime_ = bootTime(root_);
    procFd_ = ::open((root_ + "/proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // Room for one schedstat handle per process, leaving the rest of the process's
    // descriptors to everyone else; processes beyond it open the file each tick.
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) == 0) {
        const rlim_t soft = files.rlim_cur == RLIM_INFINITY ? maxKeptHandles + descriptorReserve : files.rlim_cur;
        schedstatBudget_ = soft > descriptorReserve ? std::min<size_t>(soft - descriptorReserve, maxKeptHandles) : 0;
    }
}

LinuxProcessSource::~LinuxProcessSource() {
    for (auto& entry : processes_) closeSchedstat(entry.second);
    if (procFd_ >= 0) ::close(procFd_);
}

std::string LinuxProcessSource::procPath(int32_t pid, const char* file) const {
    return root_ + "/proc/" + std::to_string(pid) + "/" + file;
}

long LinuxProcessSource::readProcFile(const char* pidName, const char* file) {
    char path[96];
    int length = std::snprintf(path, sizeof path, "%.32s/%.48s", pidName, file);
    if (length <= 0 || static_cast<size_t>(length) >= sizeof path) return -1;
    long n = readAt(procFd_, path, buffer_, sizeof buffer_ - 1);
    if (n >= 0) buffer_[n] = '\0';
    return n;
}

long LinuxProcessSource::readSchedstat(const char* pidName, Process& process) {
    if (process.schedFd >= 0) {
        // The handle names one process for good: once it is gone its file reads
        // nothing, whoever has the pid now, and the pid is looked up afresh below.
        ssize_t n = ::pread(process.schedFd, buffer_, sizeof buffer_ - 1, 0);
        if (n > 0) {
            buffer_[n] = '\0';
            return n;
        }
        closeSchedstat(process);
    }
    char path[48];
    std::snprintf(path, sizeof path, "%.32s/schedstat", pidName);
    int fd = ::openat(procFd_, path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -1;
    ssize_t n;
    do {
        n = ::read(fd, buffer_, sizeof buffer_ - 1);
    } while (n < 0 && errno == EINTR);
    if (n > 0 && openSchedstats_ < schedstatBudget_) {
        process.schedFd = fd;
        ++openSchedstats_;
    } else {
        ::close(fd);
    }
    if (n >= 0) buffer_[n] = '\0';
    return n;
}

void LinuxProcessSource::closeSchedstat(Process& process) {
    if (process.schedFd < 0) return;
    ::close(process.schedFd);
    process.schedFd = -1;
    --openSchedstats_;
}

// The stat line: CPU time of all threads and thread count; and, for a process not
// seen before (or a pid that now belongs to another one), what stays the same for its
// lifetime. Then its memory.
bool LinuxProcessSource::readStat(const char* pidName, Process& process, bool& isNew) {
    long n = readProcFile(pidName, "stat");
    auto st = n > 0 ? parseProcStat(std::string_view(buffer_, static_cast<size_t>(n))) : std::nullopt;
    if (!st) return false;
    isNew = isNew || process.startTicks != st->startTime;
    if (isNew) {
        const int schedFd = process.schedFd;  // it reads this very process: keep it
        process = Process{};
        process.schedFd = schedFd;
        process.startTicks = st->startTime;
        process.startTime = startMicros(bootTime_, st->startTime, nanosPerTick_);
        process.ppid = st->ppid;
        process.comm = std::move(st->comm);
        process.kernelThread = (st->flags & kernelThreadFlag) != 0;
        // The real uid: who started it, even when it made its /proc folder root's.
        // The same file splits its resident size.
        long length = readProcFile(pidName, "status");
        std::string_view status(buffer_, length > 0 ? static_cast<size_t>(length) : 0);
        auto uid = parseStatusUID(status);
        auto memory = process.kernelThread ? std::nullopt : parseStatusMemory(status);
        if (memory) {
            takeStatusMemory(process, *memory);
        } else if (!process.kernelThread) {
            process.statusSplits = false;  // a kernel before 4.5: statm's anonymous part alone
            readMemory(pidName, process);
        }
        if (!uid) {
            struct stat owner;
            if (::fstatat(procFd_, pidName, &owner, 0) != 0) return false;
            uid = owner.st_uid;
        }
        process.uid = *uid;
    } else if (!process.kernelThread) {
        readMemory(pidName, process);
    }
    process.ppid = st->ppid;  // an orphan is adopted by init or a subreaper
    // exec gives the same process a new command name (so does a rename of its main
    // thread): the reader then reads its path and name again. Kernel workers change
    // theirs with every work queue they serve, which says nothing about them.
    if (!isNew && !process.kernelThread && st->comm != process.comm) process.comm = std::move(st->comm);
    process.cpuTicks = st->utime + st->stime;
    const uint64_t threads = std::max<uint64_t>(st->threads, 1);
    // Switches were counted for the main thread alone, or for all threads: a process
    // that changes between one and several threads starts its count afresh.
    if ((threads > 1) != (process.threads > 1)) process.switchesKnown = false;
    process.threads = threads;
    return true;
}

void LinuxProcessSource::takeStatusMemory(Process& process, const StatusMemory& memory) {
    const uint64_t pageKiB = pageSize_ / 1024;
    process.anonPages = memory.anonKiB / pageKiB;
    process.shmemPages = memory.shmemKiB / pageKiB;
    process.sharedPages = (memory.fileKiB + memory.shmemKiB) / pageKiB;
}

// statm (cheap) every time the process ran: its anonymous pages are resident − shared.
// How the shared part splits into mapped files and shared memory only status says
// (dearer), so status is read again only when the shared part moved.
void LinuxProcessSource::readMemory(const char* pidName, Process& process) {
    long n = readProcFile(pidName, "statm");
    auto statm = n > 0 ? parseStatm(std::string_view(buffer_, static_cast<size_t>(n))) : std::nullopt;
    if (!statm) return;  // exiting: the last figures stand for this tick
    if (process.statusSplits && statm->sharedPages != process.sharedPages) {
        n = readProcFile(pidName, "status");
        auto memory = n > 0 ? parseStatusMemory(std::string_view(buffer_, static_cast<size_t>(n))) : std::nullopt;
        if (memory) takeStatusMemory(process, *memory);
    }
    process.anonPages = statm->residentPages - std::min(statm->sharedPages, statm->residentPages);
}

// Shared memory mapped by several processes shows in each one's RssShmem; the machine
// holds it once (meminfo's Shmem). Each process is given its part in proportion, so
// the list adds up to no more than the machine has. Shmem also holds tmpfs files that
// no process maps, so the scale is never above 1.
void LinuxProcessSource::shareSharedMemory() {
    uint64_t mappedKiB = 0;
    for (const auto& entry : processes_)
        if (entry.second.seen == tick_) mappedKiB += entry.second.shmemPages * (pageSize_ / 1024);
    shmemScale_ = 1.0;
    if (mappedKiB == 0) return;
    long n = readAt(procFd_, "meminfo", buffer_, sizeof buffer_ - 1);
    if (n <= 0) return;  // no machine figure: each keeps its whole RssShmem
    auto shmem = meminfoKiB(std::string_view(buffer_, static_cast<size_t>(n)), "Shmem");
    if (shmem && *shmem < mappedKiB) shmemScale_ = static_cast<double>(*shmem) / static_cast<double>(mappedKiB);
}

std::vector<BasicInfo> LinuxProcessSource::allProcesses() {
    std::vector<BasicInfo> list;
    ++tick_;
    if (procFd_ < 0) return list;
    int listFd = ::openat(procFd_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* dir = listFd >= 0 ? ::fdopendir(listFd) : nullptr;
    if (!dir) {
        if (listFd >= 0) ::close(listFd);
        return list;
    }
    list.reserve(processes_.size() + 16);
    std::vector<std::pair<int32_t, Process*>> ranWithThreads;
    while (auto* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        if (name[0] < '1' || name[0] > '9') continue;
        int32_t pid = 0;
        auto [end, error] = std::from_chars(name, name + std::char_traits<char>::length(name), pid);
        if (error != std::errc() || *end != '\0') continue;

        auto [slot, isNew] = processes_.try_emplace(pid);
        Process& process = slot->second;
        bool ran = true;
        bool switchesRead = false;
        uint64_t switches = 0;
        if (!isNew && process.threads == 1) {
            // One thread: the scheduler's own figures say whether it ran at all.
            long n = readSchedstat(name, process);
            auto sched = n > 0 ? parseSchedstat(std::string_view(buffer_, static_cast<size_t>(n))) : std::nullopt;
            if (sched) {
                ran = sched->runtime != process.runtime;
                process.runtime = sched->runtime;
                switches = sched->timeslices;
                switchesRead = true;
            }
        }
        // A process that exits between the listing and here is simply not listed.
        if (ran && !readStat(name, process, isNew)) {
            closeSchedstat(process);
            processes_.erase(slot);
            continue;
        }
        if (isNew && process.threads == 1) {
            long n = readSchedstat(name, process);
            auto sched = n > 0 ? parseSchedstat(std::string_view(buffer_, static_cast<size_t>(n))) : std::nullopt;
            if (sched) {
                process.runtime = sched->runtime;
                switches = sched->timeslices;
                switchesRead = true;
            }
        }
        if (switchesRead && process.threads == 1) {
            // The first count is only the base: switches before now are not this tick's.
            if (process.switchesKnown && switches >= process.switches) process.wakeups += switches - process.switches;
            process.switches = switches;
            process.switchesKnown = true;
        } else if (process.threads > 1 && (isNew || process.cpuTicks != process.previousCpuTicks)) {
            // A new process only gets its base count here.
            ranWithThreads.emplace_back(pid, &process);
        }
        process.ranTicks = process.cpuTicks - std::min(process.previousCpuTicks, process.cpuTicks);
        process.previousCpuTicks = process.cpuTicks;
        process.seen = tick_;

        BasicInfo info;
        info.pid = pid;
        info.ppid = process.ppid;
        info.uid = process.uid;
        info.comm = process.comm;
        info.startTime = process.startTime;
        list.push_back(std::move(info));
    }
    ::closedir(dir);
    countThreadSwitches(ranWithThreads, list.size());
    shareSharedMemory();
    // Processes that were not listed have exited.
    if (processes_.size() > list.size())
        for (auto it = processes_.begin(); it != processes_.end();) {
            if (it->second.seen == tick_) {
                ++it;
                continue;
            }
            closeSchedstat(it->second);
            it = processes_.erase(it);
        }
    return list;
}

// Wake-ups of a multi-threaded process are the context switches of all its threads,
// one small file per thread. Only processes that used CPU since the last tick can have
// any. Within the budget, the busiest are counted first; the rest read 0 this tick,
// and the next count that follows a missed tick is only a base, never a burst.
void LinuxProcessSource::countThreadSwitches(std::vector<std::pair<int32_t, Process*>>& candidates, size_t listed) {
    wakeupsSkipped_ = 0;
    if (candidates.empty()) return;
    std::sort(candidates.begin(), candidates.end(),
              [](const auto& a, const auto& b) { return a.second->ranTicks > b.second->ranTicks; });
    const uint64_t start = threadCPUNanos();
    const auto budget = static_cast<uint64_t>(wakeupBudgetPerProcess * static_cast<double>(listed));
    for (size_t i = 0; i < candidates.size(); ++i) {
        if (threadCPUNanos() - start > budget) {
            wakeupsSkipped_ = candidates.size() - i;
            for (size_t j = i; j < candidates.size(); ++j) candidates[j].second->switchesKnown = false;
            return;
        }
        auto& [pid, process] = candidates[i];
        char taskPath[32];
        std::snprintf(taskPath, sizeof taskPath, "%d/task", pid);
        int taskFd = ::openat(procFd_, taskPath, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        DIR* tasks = taskFd >= 0 ? ::fdopendir(taskFd) : nullptr;
        if (!tasks) {
            if (taskFd >= 0) ::close(taskFd);
            process->switchesKnown = false;  // it is exiting
            continue;
        }
        uint64_t sum = 0;
        while (auto* thread = ::readdir(tasks)) {
            if (thread->d_name[0] < '1' || thread->d_name[0] > '9') continue;
            char path[sizeof thread->d_name + 16];
            std::snprintf(path, sizeof path, "%s/schedstat", thread->d_name);
            // A thread that ended meanwhile just adds nothing.
            long n = readAt(::dirfd(tasks), path, buffer_, sizeof buffer_ - 1);
            auto sched = n > 0 ? parseSchedstat(std::string_view(buffer_, static_cast<size_t>(n))) : std::nullopt;
            if (sched) sum += sched->timeslices;
        }
        ::closedir(tasks);
        // Ended threads take their switches with them: a smaller sum is a new base.
        if (process->switchesKnown && sum >= process->switches) process->wakeups += sum - process->switches;
        process->switches = sum;
        process->switchesKnown = true;
    }
}

uint64_t LinuxProcessSource::absoluteTime() {
    timespec ts{};
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1'000'000'000ull + static_cast<uint64_t>(ts.tv_nsec);
}

// Linux keeps no per-process energy, so energy is 0 here (the sampler shares out the
// machine's power instead). Disk counters need /proc/<pid>/io, which the kernel shows
// only to root and to whoever may trace the process: its own user, unless it turned
// off core dumps. Where io cannot be read the disk counters are marked not counted
// (the helper's figures, or an estimate notice, stand in). A process whose CPU time
// did not move since io was last read keeps its disk counters: the kernel charges
// reads and dirtied pages to the process while it runs, and the counters are
// cumulative, so any bytes it did move without a whole clock tick of CPU show up on
// its next busy tick.
std::optional<UsageRecord> LinuxProcessSource::usage(const BasicInfo& info) {
    auto found = processes_.find(info.pid);
    if (found == processes_.end() || found->second.seen != tick_) return std::nullopt;
    Process& process = found->second;
    UsageRecord usage;
    usage.cpuTime = static_cast<uint64_t>(static_cast<double>(process.cpuTicks) * nanosPerTick_);
    usage.memory = process.anonPages * pageSize_ +
                   static_cast<uint64_t>(static_cast<double>(process.shmemPages * pageSize_) * shmemScale_);
    usage.wakeups = process.wakeups;
    if (info.uid != ownUID_ && ownUID_ != 0) {
        usage.diskCounted = false;  // another user's: only the helper may read it
        return usage;
    }
    if (process.diskAtTicks != process.cpuTicks) {
        char pidName[16];
        std::snprintf(pidName, sizeof pidName, "%d", info.pid);
        long n = readProcFile(pidName, "io");
        process.diskReadable = n > 0;
        if (n > 0) {
            auto counters = parseProcIO(std::string_view(buffer_, static_cast<size_t>(n)));
            process.diskRead = counters.readBytes;
            process.diskWritten = counters.writeBytes;
        }
        process.diskAtTicks = process.cpuTicks;
    }
    usage.diskCounted = process.diskReadable;
    usage.diskRead = process.diskReadable ? process.diskRead : 0;
    usage.diskWrite = process.diskReadable ? process.diskWritten : 0;
    return usage;
}

std::vector<DrmClientTracker::Owned> LinuxProcessSource::gpuClients(const std::vector<BasicInfo>& processes) {
    std::vector<DrmClientTracker::Owned> owned;
    const double now = static_cast<double>(absoluteTime()) / 1e9;
    for (const auto& info : processes) {
        auto process = processes_.find(info.pid);
        if (process == processes_.end() || process->second.kernelThread) continue;
        for (auto& client : gpuDescriptors_.clients(info.pid, now, info.startTime))
            owned.push_back({info.pid, std::move(client)});
    }
    gpuDescriptors_.endRound();
    return owned;
}

std::string LinuxProcessSource::executablePath(const BasicInfo& process) {
    auto target = readLink(procPath(process.pid, "exe"));
    if (!target) return {};
    std::string path = std::move(*target);
    // A program run from a memory file descriptor has no path on disk.
    if (path.rfind("/memfd:", 0) == 0 || path.empty() || path[0] != '/') return {};
    constexpr std::string_view deleted = " (deleted)";  // the binary was replaced on disk
    if (path.size() > deleted.size() && path.ends_with(deleted)) path.resize(path.size() - deleted.size());
    return path;
}

std::optional<std::string> LinuxProcessSource::argumentExecutable(const BasicInfo& process) {
    auto cmdline = readFile(procPath(process.pid, "cmdline"), 4096);
    if (!cmdline) return std::nullopt;
    std::string first = cmdline->substr(0, cmdline->find('\0'));
    if (first.empty()) return std::nullopt;
    return first;
}

std::optional<std::string> LinuxProcessSource::runPS() {
    return runCommand("/bin/ps", {"-axo", "pid=,uid=,time=,rss="});
}

std::optional<std::string> LinuxCgroupSource::cgroupFile(int32_t pid) {
    return readFile(root_ + "/proc/" + std::to_string(pid) + "/cgroup", 16384);
}

bool LinuxCgroupSource::isKernelThread(int32_t pid) {
    auto text = readFile(root_ + "/proc/" + std::to_string(pid) + "/stat", 4096);
    auto st = text ? parseProcStat(*text) : std::nullopt;
    return st && (st->flags & kernelThreadFlag) != 0;
}

std::optional<std::string> LinuxCgroupSource::readText(const std::string& path) { return readFile(path, 256 * 1024); }

std::unique_ptr<ProcessListSource> makeProcessListSource() {
    const std::string& root = systemRoot();
    std::vector<std::string> dataDirs;
    for (auto& dir : xdgDataDirectories(std::getenv("XDG_DATA_HOME"), std::getenv("XDG_DATA_DIRS"), homeDirectory()))
        dataDirs.push_back(root + dir);
    // Root reads every process's io itself; anyone else asks the helper, when its
    // socket is there, for the disk counters of other users' processes. A fixture
    // tree never asks the live machine's helper.
    std::unique_ptr<HelperTransport> helper;
    if (root.empty() && ::getuid() != 0) helper = makeSocketHelperTransport();
    return std::make_unique<ProcessReader>(
        std::make_unique<LinuxProcessSource>(root),
        std::make_unique<DesktopKeyResolver>(std::make_unique<LinuxCgroupSource>(root), std::move(dataDirs)),
        std::move(helper));
}

}  // namespace qm
