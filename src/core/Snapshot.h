// The records of one sampler tick: a complete, immutable picture of the machine.
// Plain values, copied freely between the sampler queue and the main thread.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm {

// An absolute point in time: seconds since 1970-01-01 UTC.
using Date = double;

// What a whole-machine power figure covers: the whole machine (battery discharge,
// platform telemetry, the RAPL "psys" zone) or only the processor package (RAPL
// package zones, which leave out the display, storage and the rest of the board).
enum class PowerScope { machine, package };

enum class PressureLevel { normal, warning, critical };
std::string_view rawValue(PressureLevel level);
std::optional<PressureLevel> pressureLevelFromRaw(std::string_view raw);
std::string label(PressureLevel level);    // "Normal", "Elevated", "High"
std::string caption(PressureLevel level);  // "Normal pressure", ...
// The kernel's pressure code kept in the minute history: 1, 2, 4.
int64_t kernelCode(PressureLevel level);

enum class ThermalState : int { nominal = 0, fair = 1, serious = 2, critical = 3 };

struct CPUStats {
    enum class CoreType { performance, efficiency, unknown };

    double total = 0;  // user + system, capped at 100
    double user = 0;   // user plus nice
    double system = 0;
    std::vector<double> perCore;
    std::vector<CoreType> coreTypes;
    std::array<double, 3> load{0, 0, 0};

    // Mean of the cores of one type, pairing perCore with coreTypes up to the shorter one.
    std::optional<double> average(CoreType type) const;
    bool operator==(const CPUStats&) const = default;
};
std::string_view rawValue(CPUStats::CoreType type);
std::optional<CPUStats::CoreType> coreTypeFromRaw(std::string_view raw);

struct MemoryStats {
    uint64_t total = 0;
    uint64_t app = 0;
    uint64_t wired = 0;
    uint64_t compressed = 0;
    uint64_t cached = 0;
    uint64_t free = 0;
    uint64_t swapUsed = 0;
    uint64_t swapTotal = 0;
    double pressure = 0;  // 0..100, higher is worse
    PressureLevel pressureLevel = PressureLevel::normal;

    // Used memory as the minute history counts it.
    uint64_t used() const { return app + wired + compressed; }
    bool operator==(const MemoryStats&) const = default;
};

struct NetworkStats {
    double rxRate = 0;
    double txRate = 0;
    uint64_t rxTotal = 0;
    uint64_t txTotal = 0;
    bool operator==(const NetworkStats&) const = default;
};

struct DiskStats {
    double readRate = 0;
    double writeRate = 0;
    uint64_t totalSpace = 0;
    uint64_t freeSpace = 0;
    bool operator==(const DiskStats&) const = default;
};

struct BatteryStats {
    bool present = false;
    double percent = 0;
    bool isCharging = false;
    bool onAC = true;
    std::optional<int64_t> minutesRemaining;
    std::optional<int64_t> cycleCount;
    std::optional<double> healthPercent;
    std::optional<double> temperature;
    std::optional<double> batteryPower;
    std::optional<double> adapterWatts;
    bool operator==(const BatteryStats&) const = default;
};

struct SensorReading {
    enum class Group { cpu, gpu, memory, storage, battery, other };
    static constexpr std::array<Group, 6> allGroups{Group::cpu,     Group::gpu,     Group::memory,
                                                    Group::storage, Group::battery, Group::other};

    std::string name;
    double value = 0;  // °C
    Group group = Group::other;
    bool operator==(const SensorReading&) const = default;
};
std::string_view rawValue(SensorReading::Group group);
std::optional<SensorReading::Group> sensorGroupFromRaw(std::string_view raw);
std::string title(SensorReading::Group group);

struct FanReading {
    int64_t index = 0;
    double rpm = 0;
    std::optional<double> min;
    std::optional<double> max;
    bool operator==(const FanReading&) const = default;
};

struct ThermalStats {
    ThermalState state = ThermalState::nominal;
    // False when the machine shows no temperature sensor at all (many virtual machines):
    // its state then says nothing about heat, only about throttling.
    bool hasSensors = true;
    std::optional<double> socTemp;
    std::optional<double> socMax;
    std::optional<double> gpuTemp;
    std::optional<double> ssdTemp;
    std::optional<double> batteryTemp;
    std::vector<SensorReading> sensors;
    std::vector<FanReading> fans;
    bool operator==(const ThermalStats&) const = default;
};

// One GPU as its driver describes it; what the driver does not publish stays absent.
struct GPUDevice {
    std::string name;
    std::string driver;          // the kernel driver ("amdgpu", "i915", "xe"), or the library that reports it
    std::optional<double> busy;  // percent, 0-100
    std::optional<uint64_t> memoryUsed;
    std::optional<uint64_t> memoryTotal;
    std::optional<double> temperature;  // °C
    std::optional<double> power;        // watts
    bool operator==(const GPUDevice&) const = default;
};

struct SelfCost {
    double cpu = 0;                       // percent of one core since the previous tick
    uint64_t memory = 0;                  // physical footprint
    uint64_t diskWrittenSinceLaunch = 0;  // bytes
    bool operator==(const SelfCost&) const = default;
};

enum class ProcessKind { app, background, system };
constexpr std::array<ProcessKind, 3> allProcessKinds{ProcessKind::app, ProcessKind::background, ProcessKind::system};
std::string_view rawValue(ProcessKind kind);
std::optional<ProcessKind> processKindFromRaw(std::string_view raw);
std::string label(ProcessKind kind);  // "Apps", "Background", and systemLabel()
// What the system's own processes are called: "macOS" on a Mac, "System" on Linux.
std::string systemLabel();

struct ProcessSample {
    int32_t pid = 0;
    int32_t ppid = 0;
    uint32_t uid = 0;
    std::string name;
    std::string path;
    double cpu = 0;  // percent of one core
    uint64_t memory = 0;
    std::optional<double> power;
    double diskReadRate = 0;
    double diskWriteRate = 0;
    double wakeups = 0;
    bool approximate = false;
    bool isRestricted = false;
    // Microseconds since the Unix epoch; with the pid it names one process lifetime,
    // so an action aimed at this sample never reaches a later owner of the pid (0: unknown).
    uint64_t startTime = 0;
    // Its share of the GPU (percent of the busiest engine it used) and the GPU memory
    // it holds; absent when it has no GPU client or none that can be measured.
    std::optional<double> gpu;
    std::optional<uint64_t> gpuMemory;
    bool operator==(const ProcessSample&) const = default;
};

// One process lifetime as a snapshot saw it. Actions carry these, never bare pids:
// the pid is signalled only while it still names a process with this start time and owner.
struct ProcessRef {
    int32_t pid = 0;
    uint64_t startTime = 0;  // as ProcessSample::startTime
    uint32_t uid = 0;
    bool operator==(const ProcessRef&) const = default;
};
inline ProcessRef refOf(const ProcessSample& process) { return {process.pid, process.startTime, process.uid}; }

struct AppGroup {
    std::string id;  // "app:<bundle path>" or "proc:<name>"
    std::string name;
    ProcessKind kind = ProcessKind::background;
    std::optional<std::string> bundlePath;
    std::optional<std::string> bundleID;
    std::vector<ProcessSample> processes;
    double cpu = 0;
    uint64_t memory = 0;
    std::optional<double> power;
    double diskWriteRate = 0;
    double diskReadRate = 0;
    std::optional<double> gpu;  // sums of its processes' figures, absent when none had one
    std::optional<uint64_t> gpuMemory;

    // Deliberately shallow: id, cpu, memory and the number of processes.
    bool operator==(const AppGroup& other) const {
        return id == other.id && cpu == other.cpu && memory == other.memory &&
               processes.size() == other.processes.size();
    }
};

enum class EventKind {
    highCPU,
    memoryGrowth,
    memoryPressure,
    thermal,
    spotlight,
    unplugged,
    pluggedIn,
    appCrashLoop,
    swap
};
constexpr std::array<EventKind, 9> allEventKinds{
    EventKind::highCPU,   EventKind::memoryGrowth, EventKind::memoryPressure, EventKind::thermal, EventKind::spotlight,
    EventKind::unplugged, EventKind::pluggedIn,    EventKind::appCrashLoop,   EventKind::swap};
std::string_view rawValue(EventKind kind);
std::optional<EventKind> eventKindFromRaw(std::string_view raw);  // exact case only

struct TimelineEvent {
    int64_t id = 0;
    Date date = 0;
    EventKind kind = EventKind::highCPU;
    int64_t severity = 0;
    std::string title;
    std::string detail;
    std::optional<std::string> appKey;
    std::optional<std::string> appName;
    // The processes that made the event (the busy ones, the growing ones) when it was
    // detected; kept in memory only, for acting on the event's notification.
    std::vector<ProcessRef> processes;
    bool operator==(const TimelineEvent&) const = default;
};

struct Snapshot {
    Date date = 0;
    double interval = 1.0;
    CPUStats cpu;
    MemoryStats memory;
    std::optional<double> gpu;  // the busiest of `gpus`
    std::vector<GPUDevice> gpus;
    std::optional<double> systemPower;
    PowerScope systemPowerScope = PowerScope::machine;
    NetworkStats network;
    DiskStats disk;
    BatteryStats battery;
    ThermalStats thermal;
    std::vector<AppGroup> groups;
    int64_t processCount = 0;
    bool restrictedVisible = false;
    bool helperActive = false;
    SelfCost selfCost;
    double uptime = 0;

    // The value shown before the first tick; its date is fixed the first time it is touched.
    static const Snapshot& empty();
};

// Hashes for the records that are hashable field by field.
size_t hashValue(const SensorReading& r);
size_t hashValue(const FanReading& r);
size_t hashValue(const ProcessSample& r);
size_t hashValue(const TimelineEvent& r);

}  // namespace qm

template <>
struct std::hash<qm::SensorReading> {
    size_t operator()(const qm::SensorReading& r) const { return qm::hashValue(r); }
};
template <>
struct std::hash<qm::FanReading> {
    size_t operator()(const qm::FanReading& r) const { return qm::hashValue(r); }
};
template <>
struct std::hash<qm::ProcessSample> {
    size_t operator()(const qm::ProcessSample& r) const { return qm::hashValue(r); }
};
template <>
struct std::hash<qm::TimelineEvent> {
    size_t operator()(const qm::TimelineEvent& r) const { return qm::hashValue(r); }
};
