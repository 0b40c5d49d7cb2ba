// Portable arithmetic that turns each kernel's memory figures into MemoryStats.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "core/Snapshot.h"

namespace qm {

// --- Linux ---

// /proc/meminfo as a map from field name to bytes ("MemTotal" -> 16'000'000'000).
using Meminfo = std::map<std::string, uint64_t, std::less<>>;
Meminfo parseMeminfo(std::string_view text);

// One line of /proc/pressure/memory: the "some" and "full" totals in microseconds
// and the 10-second averages in percent.
struct PressureStall {
    uint64_t someTotal = 0;
    uint64_t fullTotal = 0;
    double someAvg10 = 0;
    double fullAvg10 = 0;
};
std::optional<PressureStall> parsePressureStall(std::string_view text);

// Memory figures from meminfo, chosen so that the parts add up to MemTotal:
//   app        AnonPages + Shmem: process memory, and shared memory (tmpfs, /dev/shm,
//              memfd, GPU buffers) which lives until someone frees it, like an app's;
//   wired      the rest of MemTotal: memory the kernel holds and cannot give back.
//              It names some of it (SUnreclaim, KernelStack, PageTables, unevictable
//              pages that are not mlocked ones already in AnonPages or Cached) and
//              not the rest (vmalloc, per-CPU areas, drivers' pages, huge pages set
//              aside), so wired is what remains once the other parts are counted;
//   compressed what the zram devices in use occupy (`zramUsed`), plus zswap's pool;
//   cached     Buffers + Cached + SReclaimable − Shmem: what the kernel can drop
//              (Cached includes shared memory, which cannot be dropped);
//   free       MemFree.
// When the fields do not add up (read at different moments, or a page counted in two
// of them), wired is the kernel's named part and the cache, then free memory, shrink
// by the excess: the parts always add up to MemTotal and none is negative.
// "Used" (app + wired + compressed) is MemTotal − MemFree − Buffers − Cached −
// SReclaimable + Shmem: the free command's older "used". Its newer one is MemTotal −
// MemAvailable, which also counts the cache and free pages the kernel holds back.
// The pressure level is left normal: it needs the stall figures (below).
MemoryStats memoryFromMeminfo(const Meminfo& info, std::optional<uint64_t> zramUsed);

// The level from the share of an interval that tasks stalled on memory: critical when
// everything stalled for 10 % of the time or some tasks for 40 %, warning from 10 % of
// some-stall. Shares are percentages of the interval.
PressureLevel levelFromStallShares(double somePercent, double fullPercent);
// Without stall information: what the kernel still counts as available.
PressureLevel levelFromAvailable(uint64_t available, uint64_t total);

// The third field of a zram device's mm_stat: bytes of memory the compressed store uses.
std::optional<uint64_t> parseZramUsed(std::string_view mmStat);

// What one zram device occupies when it is in use, from its disksize and mm_stat
// files. A device that was never set up (disk size 0), one that holds nothing yet (an
// all-zero mm_stat) or one whose files do not parse is absent, so it cannot stand in
// for zswap's figure.
std::optional<uint64_t> zramDeviceUsed(std::string_view disksize, std::string_view mmStat);

// --- macOS ---

struct VMCounts {
    uint64_t internalPages = 0;
    uint64_t purgeablePages = 0;
    uint64_t wiredPages = 0;
    uint64_t compressorPages = 0;
    uint64_t externalPages = 0;
    uint64_t freePages = 0;
};

// `vm` absent when host_statistics64 failed; `availableLevel` is
// kern.memorystatus_level (0-100), `pressureCode` kern.memorystatus_vm_pressure_level.
MemoryStats memoryFromVMCounts(uint64_t total, std::optional<VMCounts> vm, uint64_t pageSize, uint64_t swapUsed,
                               uint64_t swapTotal, std::optional<int64_t> availableLevel,
                               std::optional<int64_t> pressureCode);

}  // namespace qm
