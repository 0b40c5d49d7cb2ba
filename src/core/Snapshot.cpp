#include "core/Snapshot.h"

#include <chrono>
#include <functional>

namespace qm {

namespace {

template <typename E, size_t N>
std::optional<E> fromRaw(std::string_view raw, const std::array<E, N>& cases) {
    for (E e : cases)
        if (rawValue(e) == raw) return e;
    return std::nullopt;
}

void combine(size_t& seed, size_t value) { seed ^= value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2); }

template <typename T>
void combineValue(size_t& seed, const T& value) {
    combine(seed, std::hash<T>{}(value));
}

template <typename T>
void combineValue(size_t& seed, const std::optional<T>& value) {
    combine(seed, value ? std::hash<T>{}(*value) : 0x51ed27ULL);
}

constexpr std::array<PressureLevel, 3> allPressureLevels{PressureLevel::normal, PressureLevel::warning,
                                                         PressureLevel::critical};
constexpr std::array<CPUStats::CoreType, 3> allCoreTypes{CPUStats::CoreType::performance,
                                                         CPUStats::CoreType::efficiency, CPUStats::CoreType::unknown};

}  // namespace

std::string_view rawValue(PressureLevel level) {
    switch (level) {
        case PressureLevel::normal: return "normal";
        case PressureLevel::warning: return "warning";
        case PressureLevel::critical: return "critical";
    }
    return "normal";
}

std::optional<PressureLevel> pressureLevelFromRaw(std::string_view raw) { return fromRaw(raw, allPressureLevels); }

std::string label(PressureLevel level) {
    switch (level) {
        case PressureLevel::normal: return "Normal";
        case PressureLevel::warning: return "Elevated";
        case PressureLevel::critical: return "High";
    }
    return "Normal";
}

std::string caption(PressureLevel level) {
    switch (level) {
        case PressureLevel::normal: return "Normal pressure";
        case PressureLevel::warning: return "Elevated pressure";
        case PressureLevel::critical: return "High pressure";
    }
    return "Normal pressure";
}

int64_t kernelCode(PressureLevel level) {
    switch (level) {
        case PressureLevel::normal: return 1;
        case PressureLevel::warning: return 2;
        case PressureLevel::critical: return 4;
    }
    return 1;
}

std::optional<double> CPUStats::average(CoreType type) const {
    const size_t n = std::min(perCore.size(), coreTypes.size());
    double sum = 0;
    int count = 0;
    for (size_t i = 0; i < n; ++i) {
        if (coreTypes[i] != type) continue;
        sum += perCore[i];
        ++count;
    }
    if (count == 0) return std::nullopt;
    return sum / count;
}

std::string_view rawValue(CPUStats::CoreType type) {
    switch (type) {
        case CPUStats::CoreType::performance: return "performance";
        case CPUStats::CoreType::efficiency: return "efficiency";
        case CPUStats::CoreType::unknown: return "unknown";
    }
    return "unknown";
}

std::optional<CPUStats::CoreType> coreTypeFromRaw(std::string_view raw) { return fromRaw(raw, allCoreTypes); }

std::string_view rawValue(SensorReading::Group group) {
    switch (group) {
        case SensorReading::Group::cpu: return "CPU";
        case SensorReading::Group::gpu: return "GPU";
        case SensorReading::Group::memory: return "Memory";
        case SensorReading::Group::storage: return "Storage";
        case SensorReading::Group::battery: return "Battery";
        case SensorReading::Group::other: return "Other";
    }
    return "Other";
}

std::optional<SensorReading::Group> sensorGroupFromRaw(std::string_view raw) {
    return fromRaw(raw, SensorReading::allGroups);
}

std::string title(SensorReading::Group group) { return std::string(rawValue(group)); }

std::string_view rawValue(ProcessKind kind) {
    switch (kind) {
        case ProcessKind::app: return "app";
        case ProcessKind::background: return "background";
        case ProcessKind::system: return "system";
    }
    return "background";
}

std::optional<ProcessKind> processKindFromRaw(std::string_view raw) { return fromRaw(raw, allProcessKinds); }

std::string label(ProcessKind kind) {
    switch (kind) {
        case ProcessKind::app: return "Apps";
        case ProcessKind::background: return "Background";
        case ProcessKind::system: return systemLabel();
    }
    return "Background";
}

std::string systemLabel() {
#ifdef __APPLE__
    return "macOS";
#else
    return "System";
#endif
}

std::string_view rawValue(EventKind kind) {
    switch (kind) {
        case EventKind::highCPU: return "highCPU";
        case EventKind::memoryGrowth: return "memoryGrowth";
        case EventKind::memoryPressure: return "memoryPressure";
        case EventKind::thermal: return "thermal";
        case EventKind::spotlight: return "spotlight";
        case EventKind::unplugged: return "unplugged";
        case EventKind::pluggedIn: return "pluggedIn";
        case EventKind::appCrashLoop: return "appCrashLoop";
        case EventKind::swap: return "swap";
    }
    return "highCPU";
}

std::optional<EventKind> eventKindFromRaw(std::string_view raw) { return fromRaw(raw, allEventKinds); }

const Snapshot& Snapshot::empty() {
    static const Snapshot value = [] {
        Snapshot s;
        s.date = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
        return s;
    }();
    return value;
}

size_t hashValue(const SensorReading& r) {
    size_t seed = 0;
    combineValue(seed, r.name);
    combineValue(seed, r.value);
    combine(seed, static_cast<size_t>(r.group));
    return seed;
}

size_t hashValue(const FanReading& r) {
    size_t seed = 0;
    combineValue(seed, r.index);
    combineValue(seed, r.rpm);
    combineValue(seed, r.min);
    combineValue(seed, r.max);
    return seed;
}

size_t hashValue(const ProcessSample& r) {
    size_t seed = 0;
    combineValue(seed, r.pid);
    combineValue(seed, r.ppid);
    combineValue(seed, r.uid);
    combineValue(seed, r.name);
    combineValue(seed, r.path);
    combineValue(seed, r.cpu);
    combineValue(seed, r.memory);
    combineValue(seed, r.power);
    combineValue(seed, r.diskReadRate);
    combineValue(seed, r.diskWriteRate);
    combineValue(seed, r.wakeups);
    combineValue(seed, r.startTime);
    combineValue(seed, r.gpu);
    combineValue(seed, r.gpuMemory);
    combineValue(seed, r.approximate);
    combineValue(seed, r.isRestricted);
    return seed;
}

size_t hashValue(const TimelineEvent& r) {
    size_t seed = 0;
    combineValue(seed, r.id);
    combineValue(seed, r.date);
    combine(seed, static_cast<size_t>(r.kind));
    combineValue(seed, r.severity);
    combineValue(seed, r.title);
    combineValue(seed, r.detail);
    combineValue(seed, r.appKey);
    combineValue(seed, r.appName);
    return seed;
}

}  // namespace qm
