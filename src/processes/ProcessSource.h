// The seam between the portable process reader and the platform's process calls.
// Each method returns raw facts; every decision built on them lives in ProcessReader.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/DrmClientUsage.h"
#include "processes/ProcessTypes.h"

namespace qm {

class ProcessSource {
public:
    virtual ~ProcessSource() = default;

    // Every process in the kernel's order; empty when enumeration fails.
    virtual std::vector<BasicInfo> allProcesses() = 0;
    // A monotonic clock reading, in the unit of UsageRecord::cpuTime.
    virtual uint64_t absoluteTime() = 0;
    // Nanoseconds per unit of absoluteTime().
    virtual double timebase() const = 0;
    virtual uint32_t ownUID() const = 0;
    // Cumulative usage, or absent when the process cannot be read (gone, or not ours).
    virtual std::optional<UsageRecord> usage(const BasicInfo& process) = 0;
    // The executable's path, or empty when unknown.
    virtual std::string executablePath(const BasicInfo& process) = 0;
    // The executable path recorded in the process's argument area, or absent.
    virtual std::optional<std::string> argumentExecutable(const BasicInfo& process) = 0;
    // The output of `ps -axo pid=,uid=,time=,rss=`, or absent when it cannot run.
    virtual std::optional<std::string> runPS() = 0;
    // Whether UsageRecord::energy is measured per process (macOS). Without it, the
    // reader shares out the machine's power by CPU time.
    virtual bool measuresEnergy() const { return true; }
    // The GPU clients the listed processes hold, each with its pid, read now; none
    // where the platform shows no such thing.
    virtual std::vector<DrmClientTracker::Owned> gpuClients(const std::vector<BasicInfo>& /*processes*/) { return {}; }
};

}  // namespace qm
