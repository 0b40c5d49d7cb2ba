// A description of the machine, built once on first use.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

struct MachineInfo {
    std::string chipName;   // "Apple M2 Pro", "Intel(R) Core(TM) i7-1165G7 @ 2.80GHz"
    std::string model;      // "Mac14,9", or the DMI product name on Linux
    std::string osName;     // "macOS", or the distribution's name
    std::string osVersion;  // "14.4.1", or the distribution's version
    int64_t logicalCPUs = 0;
    int64_t performanceCores = 0;
    int64_t efficiencyCores = 0;
    uint64_t memory = 0;  // installed, bytes
    std::vector<CPUStats::CoreType> coreTypes;

    // "macOS 14.4.1" / "Debian GNU/Linux 12 (bookworm)".
    std::string systemName() const;

    // Built once, thread-safely, from this machine's platform source.
    static const MachineInfo& current();
};

// This machine's description (defined in linux/ or darwin/).
MachineInfo readMachineInfo();

// Core types of the CPUs `cpus` lists (CPU numbers in the order the per-core figures
// come, which skips offline CPUs), from the lists of performance and efficiency CPU
// numbers (hybrid Intel: cpu_core/cpus and cpu_atom/cpus); CPUs in neither list stay
// unknown.
std::vector<CPUStats::CoreType> coreTypesFromLists(const std::vector<int>& cpus, const std::vector<int>& performance,
                                                   const std::vector<int>& efficiency);
// Core types from each CPU's relative capacity (big.LITTLE and DynamIQ ARM). Cores
// above the middle of the range between the smallest and the largest capacity are
// performance cores, the rest efficiency cores, so on a three-level phone chip
// (1024, 870, 325) the middle cores count as performance cores. All equal, or any
// unknown: unknown.
std::vector<CPUStats::CoreType> coreTypesFromCapacities(const std::vector<std::optional<uint64_t>>& capacities);
// The macOS fallback when the registry has no cluster information: performance cores first.
std::vector<CPUStats::CoreType> coreTypesFromCounts(size_t cpuCount, int64_t performance, int64_t efficiency);

}  // namespace qm
