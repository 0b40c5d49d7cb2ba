// Parsers for the Linux kernel's text formats (/proc/stat, /proc/net/dev,
// /proc/diskstats, CPU lists). Pure functions: the Linux sources read the files and
// pass the text here; tests and fuzzers call them directly.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm {

// The per-CPU lines of /proc/stat ("cpu0 ..."), mapped to the four counters the CPU
// reader expects, in order user, system, idle, nice: user -> user, nice -> nice,
// system + irq + softirq + steal -> system, idle + iowait -> idle. Counters are kept
// to their low 32 bits; the reader's differences are modulo 2^32. A malformed CPU
// line ends the list (the CPUs after it are not trusted).
std::vector<uint32_t> parseProcStatCPUs(std::string_view procStat);
// The CPU numbers of the same lines, in the same order: offline CPUs (nosmt, or
// taken down by hand) have no line, so the Nth counters need not be CPU N's.
std::vector<int> parseProcStatCPUNumbers(std::string_view procStat);
// The "btime" line of /proc/stat: boot time in Unix seconds.
std::optional<int64_t> parseBootTime(std::string_view procStat);

struct InterfaceCounters {
    std::string name;
    uint64_t rxBytes = 0;
    uint64_t txBytes = 0;
};
std::vector<InterfaceCounters> parseNetDev(std::string_view netDev);

struct DiskCounters {
    std::string name;
    uint64_t sectorsRead = 0;
    uint64_t sectorsWritten = 0;
};
std::vector<DiskCounters> parseDiskstats(std::string_view diskstats);
// Block devices that are never physical disks, whatever /sys says.
bool isVirtualBlockDevice(std::string_view name);

// "0-3,8,10-11" -> {0,1,2,3,8,10,11}; malformed parts are skipped.
std::vector<int> parseCPUList(std::string_view list);

// /etc/os-release: the value of one key, unquoted.
std::optional<std::string> osReleaseValue(std::string_view osRelease, std::string_view key);

// /proc/cpuinfo: the first "model name" (x86) or "Hardware"/"Model" (ARM) value.
std::optional<std::string> cpuModelName(std::string_view cpuinfo);

}  // namespace qm
