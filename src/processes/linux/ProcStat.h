// Parsing /proc/<pid>/stat, whose command name may itself hold spaces, parentheses
// and newlines: the name runs from the first "(" to the last ")".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qm {

struct ProcStat {
    int32_t pid = 0;
    std::string comm;
    int32_t ppid = 0;
    uint64_t flags = 0;
    uint64_t utime = 0;      // clock ticks
    uint64_t stime = 0;      // clock ticks
    uint64_t startTime = 0;  // clock ticks after boot
    uint64_t rssPages = 0;
    uint64_t threads = 0;
};

constexpr uint64_t kernelThreadFlag = 0x00200000;  // PF_KTHREAD

std::optional<ProcStat> parseProcStat(std::string_view text);

// /proc/<pid>/schedstat (or a thread's): time run on a CPU in nanoseconds, and how
// many times the thread was switched in.
struct Schedstat {
    uint64_t runtime = 0;
    uint64_t timeslices = 0;
};
std::optional<Schedstat> parseSchedstat(std::string_view text);

// The real uid, the first figure of the "Uid:" line of /proc/<pid>/status.
std::optional<uint32_t> parseStatusUID(std::string_view text);

// Resident pages and the file-backed or shared part of them, the second and third
// fields of /proc/<pid>/statm. The kernel counts shared as file pages plus shmem
// pages, so resident − shared is exactly the anonymous pages (status's RssAnon).
struct Statm {
    uint64_t residentPages = 0;
    uint64_t sharedPages = 0;
};
std::optional<Statm> parseStatm(std::string_view text);

// The split of the resident size in /proc/<pid>/status, in KiB; absent for a kernel
// thread, which has no memory of its own and no such lines.
struct StatusMemory {
    uint64_t anonKiB = 0;   // RssAnon: private anonymous pages (and copy-on-write ones not yet copied)
    uint64_t fileKiB = 0;   // RssFile: mapped files, libraries and the executable
    uint64_t shmemKiB = 0;  // RssShmem: shared memory, tmpfs and memfd pages mapped
};
std::optional<StatusMemory> parseStatusMemory(std::string_view text);

// One field of /proc/meminfo in KiB ("Shmem"), or absent.
std::optional<uint64_t> meminfoKiB(std::string_view text, std::string_view key);

// read_bytes and write_bytes of /proc/<pid>/io (storage traffic, not cache hits).
struct ProcIO {
    uint64_t readBytes = 0;
    uint64_t writeBytes = 0;
};
ProcIO parseProcIO(std::string_view text);

}  // namespace qm
