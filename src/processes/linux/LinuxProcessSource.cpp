#include "processes/linux/LinuxProcessSource.h"

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

#include "core/FileRead.h"
#include "core/Paths.h"
#include "processes/ProcessReader.h"
#include "processes/RunCommand.h"
#include "processes/Sources.h"
#include "processes/linux/ProcStat.h"
#include "processes/linux/SocketHelperTransport.h"

namespace qm {

LinuxProcessSource::LinuxProcessSource(std::string root) : root_(std::move(root)), ownUID_(::getuid()) {
    long hz = ::sysconf(_SC_CLK_TCK);
    nanosPerTick_ = 1e9 / static_cast<double>(hz > 0 ? hz : 100);
    long page = ::sysconf(_SC_PAGESIZE);
    pageSize_ = page > 0 ? static_cast<uint64_t>(page) : 4096;
    if (auto stat = readFile(root_ + "/proc/stat")) {
        for (auto line : splitLines(*stat)) {
            auto fields = splitFields(line);
            if (fields.size() == 2 && fields[0] == "btime") bootTime_ = parseUInt(fields[1]).value_or(0);
        }
    }
}

std::string LinuxProcessSource::procPath(int32_t pid, const char* file) const {
    return root_ + "/proc/" + std::to_string(pid) + "/" + file;
}

std::vector<BasicInfo> LinuxProcessSource::allProcesses() {
    std::vector<BasicInfo> list;
    facts_.clear();
    lastDisk_ = std::move(disk_);
    disk_.clear();
    auto names = listDirectory(root_ + "/proc");
    list.reserve(names.size());
    for (const auto& name : names) {
        if (name.empty() || name[0] < '0' || name[0] > '9') continue;
        auto pid = parseInt(name);
        if (!pid) continue;
        std::string dir = root_ + "/proc/" + name;
        // A process that exits between the listing and here is simply not listed.
        auto text = readFile(dir + "/stat", 4096);
        auto st = text ? parseProcStat(*text) : std::nullopt;
        if (!st) continue;
        // The directory belongs to the process's effective user.
        struct stat owner;
        if (::stat(dir.c_str(), &owner) != 0) continue;
        BasicInfo info;
        info.pid = static_cast<int32_t>(*pid);
        info.ppid = st->ppid;
        info.uid = owner.st_uid;
        info.comm = std::move(st->comm);
        info.startTime =
            bootTime_ * 1'000'000 + static_cast<uint64_t>(static_cast<double>(st->startTime) * nanosPerTick_ / 1000);
        facts_[info.pid] = StatFacts{st->utime + st->stime, st->rssPages};
        list.push_back(std::move(info));
    }
    return list;
}

uint64_t LinuxProcessSource::absoluteTime() {
    timespec ts{};
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1'000'000'000ull + static_cast<uint64_t>(ts.tv_nsec);
}

// CPU time and memory come from the stat line read during enumeration (its rss field is
// the same figure as statm's resident, so statm is not read again). Disk counters need
// /proc/<pid>/io, which the kernel shows only to the process's own user. Linux keeps no
// per-process energy, so energy is 0 and power stays absent; wake-ups are not counted
// per process without reading every thread, so they stay 0.
//
// A process whose CPU time did not move since the last tick keeps its disk counters
// without reading io again: the kernel charges reads and dirtied pages to the process
// while it runs, and the counters are cumulative, so any bytes it did move without a
// whole clock tick of CPU show up on its next busy tick. Most processes are idle on
// most ticks, which keeps the per-process cost to the one stat read.
std::optional<UsageRecord> LinuxProcessSource::usage(const BasicInfo& process) {
    auto facts = facts_.find(process.pid);
    if (facts == facts_.end()) return std::nullopt;
    UsageRecord usage;
    usage.cpuTime = static_cast<uint64_t>(static_cast<double>(facts->second.cpuTicks) * nanosPerTick_);
    usage.memory = facts->second.rssPages * pageSize_;
    if (process.uid != ownUID_) {
        usage.diskCounted = false;  // the helper reads them when it runs
        return usage;
    }
    DiskFacts disk{process.startTime, facts->second.cpuTicks, 0, 0};
    auto last = lastDisk_.find(process.pid);
    if (last != lastDisk_.end() && last->second.startTime == disk.startTime && last->second.cpuTicks == disk.cpuTicks) {
        disk = last->second;
    } else if (auto io = readFile(procPath(process.pid, "io"), 4096)) {
        auto counters = parseProcIO(*io);
        disk.read = counters.readBytes;
        disk.written = counters.writeBytes;
    }
    disk_[process.pid] = disk;
    usage.diskRead = disk.read;
    usage.diskWrite = disk.written;
    return usage;
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
    return std::make_unique<ProcessReader>(
        std::make_unique<LinuxProcessSource>(root),
        std::make_unique<DesktopKeyResolver>(std::make_unique<LinuxCgroupSource>(root), std::move(dataDirs)),
        makeSocketHelperTransport());
}

}  // namespace qm
