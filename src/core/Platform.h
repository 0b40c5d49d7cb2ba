// The seam between the portable sampler and the machine it runs on. Every source
// returns raw facts or finished records through plain values; the decisions built on
// them live in portable code. Tests build a Platform from fakes; Platform::current()
// gives this machine's sources.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

// Cumulative per-processor tick counters: four per logical CPU in the order
// user, system, idle, nice. Empty when the kernel call fails.
class CPUSource {
public:
    virtual ~CPUSource() = default;
    virtual std::vector<uint32_t> processorTicks() = 0;
    virtual std::optional<std::array<double, 3>> loadAverage() = 0;
};

class MemorySource {
public:
    virtual ~MemorySource() = default;
    virtual MemoryStats read() = 0;
};

struct ByteCounters {
    uint64_t in = 0;   // received, or read
    uint64_t out = 0;  // sent, or written
};

// Summed byte counters of the counted network interfaces; absent when the query fails.
class NetworkSource {
public:
    virtual ~NetworkSource() = default;
    virtual std::optional<ByteCounters> counters() = 0;
};

struct VolumeSpace {
    uint64_t total = 0;
    uint64_t free = 0;
};

class DiskSource {
public:
    virtual ~DiskSource() = default;
    // Summed read and written bytes of the physical disks; absent when the query fails.
    virtual std::optional<ByteCounters> counters() = 0;
    // The startup volume; absent when the query fails.
    virtual std::optional<VolumeSpace> space() = 0;
};

class SensorSource {
public:
    virtual ~SensorSource() = default;
    // Temperatures (the light list, or every sensor when `full`) and, on full reads, fans.
    virtual ThermalStats read(bool full) = 0;
};

struct PowerReading {
    BatteryStats battery;
    std::optional<double> systemPower;  // watts
    PowerScope systemPowerScope = PowerScope::machine;
};

class PowerSource {
public:
    virtual ~PowerSource() = default;
    virtual std::optional<PowerReading> read() = 0;
};

class GPUSource {
public:
    virtual ~GPUSource() = default;
    virtual std::optional<double> read() = 0;  // utilisation in percent: the busiest GPU's
    // Every GPU as the last read found it; sources that only know one figure list none.
    virtual std::vector<GPUDevice> devices() const { return {}; }
};

struct ProcessReadResult {
    std::vector<AppGroup> groups;
    int64_t processCount = 0;
    bool restrictedVisible = false;
    bool helperActive = false;
};

// The process reader as the sampler sees it.
class ProcessListSource {
public:
    virtual ~ProcessListSource() = default;
    virtual ProcessReadResult read(bool includeRestricted) = 0;
    // The machine's power at this tick (absent when unknown), for platforms that keep
    // no energy per process and share the machine's out instead.
    virtual void setMachinePower(std::optional<double> /*watts*/) {}
};

// This process's own resource record. CPU time and `absoluteTime` share one unit
// (the host's absolute-time unit on macOS, nanoseconds on Linux).
struct SelfRecord {
    uint64_t cpuTime = 0;
    uint64_t footprint = 0;
    uint64_t bytesWritten = 0;
};

class SelfSource {
public:
    virtual ~SelfSource() = default;
    virtual std::optional<SelfRecord> read() = 0;
    virtual uint64_t absoluteTime() = 0;
};

struct Platform {
    std::function<std::unique_ptr<CPUSource>()> cpu;
    std::function<std::unique_ptr<MemorySource>()> memory;
    std::function<std::unique_ptr<NetworkSource>()> network;
    std::function<std::unique_ptr<DiskSource>()> disk;
    std::function<std::unique_ptr<SensorSource>()> sensors;
    std::function<std::unique_ptr<PowerSource>()> power;
    std::function<std::unique_ptr<GPUSource>()> gpu;
    std::function<std::unique_ptr<ProcessListSource>()> processes;
    std::function<std::unique_ptr<SelfSource>()> self;
    std::function<std::optional<Date>()> bootTime;
    std::function<ThermalState()> thermalState;
    // The logical CPUs' core types, parallel to the CPU counters (from MachineInfo).
    std::function<std::vector<CPUStats::CoreType>()> coreTypes;

    // Every source present and answering "nothing": zeros, absent values, empty lists.
    static Platform empty();
    // This machine's sources.
    static Platform current();
};

}  // namespace qm
