#include "core/Platform.h"

namespace qm {

namespace {

struct EmptyCPU : CPUSource {
    std::vector<uint32_t> processorTicks() override { return {}; }
    std::optional<std::array<double, 3>> loadAverage() override { return std::nullopt; }
};
struct EmptyMemory : MemorySource {
    MemoryStats read() override { return {}; }
};
struct EmptyNetwork : NetworkSource {
    std::optional<ByteCounters> counters() override { return std::nullopt; }
};
struct EmptyDisk : DiskSource {
    std::optional<ByteCounters> counters() override { return std::nullopt; }
    std::optional<VolumeSpace> space() override { return std::nullopt; }
};
struct EmptySensors : SensorSource {
    ThermalStats read(bool) override { return {}; }
};
struct EmptyPower : PowerSource {
    std::optional<PowerReading> read() override { return std::nullopt; }
};
struct EmptyGPU : GPUSource {
    std::optional<double> read() override { return std::nullopt; }
};
struct EmptyProcesses : ProcessListSource {
    ProcessReadResult read(bool) override { return {}; }
};
struct EmptySelf : SelfSource {
    std::optional<SelfRecord> read() override { return std::nullopt; }
    uint64_t absoluteTime() override { return 0; }
};

}  // namespace

Platform Platform::empty() {
    Platform p;
    p.cpu = [] { return std::make_unique<EmptyCPU>(); };
    p.memory = [] { return std::make_unique<EmptyMemory>(); };
    p.network = [] { return std::make_unique<EmptyNetwork>(); };
    p.disk = [] { return std::make_unique<EmptyDisk>(); };
    p.sensors = [] { return std::make_unique<EmptySensors>(); };
    p.power = [] { return std::make_unique<EmptyPower>(); };
    p.gpu = [] { return std::make_unique<EmptyGPU>(); };
    p.processes = [] { return std::make_unique<EmptyProcesses>(); };
    p.self = [] { return std::make_unique<EmptySelf>(); };
    p.bootTime = [] { return std::optional<Date>(); };
    p.thermalState = [] { return ThermalState::nominal; };
    p.coreTypes = [] { return std::vector<CPUStats::CoreType>(); };
    return p;
}

}  // namespace qm
