#include "fmt/SnapshotJsonLine.h"

#include <array>
#include <concepts>
#include <optional>
#include <string_view>
#include <vector>

#include "core/JsonText.h"

namespace qm {

namespace {

// The members of one object. Keys are written in the order the tree's std::map
// keeps them (byte order), so every call site lists its keys sorted.
class Object {
public:
    explicit Object(std::string& out) : out_(out) { out_ += '{'; }
    ~Object() { out_ += '}'; }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    // Writes the key and returns the text its value goes to.
    std::string& key(std::string_view name) {
        out_ += first_ ? "\"" : ",\"";
        first_ = false;
        out_ += name;
        out_ += "\":";
        return out_;
    }

private:
    std::string& out_;
    bool first_ = true;
};

void put(std::string& out, double value) { appendJsonNumber(out, value); }

template <std::integral T>
requires(!std::same_as<T, bool>) void put(std::string& out, T value) { appendJsonNumber(out, value); }

// A template so that a string literal never converts to bool.
template <std::same_as<bool> T>
void put(std::string& out, T value) {
    appendJsonBool(out, value);
}

void put(std::string& out, std::string_view value) { appendJsonString(out, value); }

template <typename T>
void put(std::string& out, const std::optional<T>& value) {
    if (value)
        put(out, *value);
    else
        out += "null";
}

void put(std::string& out, const ProcessSample& v);
void put(std::string& out, const AppGroup& v);
void put(std::string& out, const GPUDevice& v);
void put(std::string& out, const SensorReading& v);
void put(std::string& out, const FanReading& v);

template <typename Range>
void putArray(std::string& out, const Range& values) {
    out += '[';
    bool first = true;
    for (const auto& value : values) {
        if (!first) out += ',';
        first = false;
        put(out, value);
    }
    out += ']';
}

void put(std::string& out, const CPUStats& v) {
    Object o(out);
    std::string& types = o.key("coreTypes");
    types += '[';
    for (size_t i = 0; i < v.coreTypes.size(); ++i) {
        if (i > 0) types += ',';
        put(types, rawValue(v.coreTypes[i]));
    }
    types += ']';
    putArray(o.key("load"), v.load);
    putArray(o.key("perCore"), v.perCore);
    put(o.key("system"), v.system);
    put(o.key("total"), v.total);
    put(o.key("user"), v.user);
}

void put(std::string& out, const MemoryStats& v) {
    Object o(out);
    put(o.key("app"), v.app);
    put(o.key("cached"), v.cached);
    put(o.key("compressed"), v.compressed);
    put(o.key("free"), v.free);
    put(o.key("pressure"), v.pressure);
    put(o.key("pressureLevel"), rawValue(v.pressureLevel));
    put(o.key("swapTotal"), v.swapTotal);
    put(o.key("swapUsed"), v.swapUsed);
    put(o.key("total"), v.total);
    put(o.key("wired"), v.wired);
}

void put(std::string& out, const NetworkStats& v) {
    Object o(out);
    put(o.key("rxRate"), v.rxRate);
    put(o.key("rxTotal"), v.rxTotal);
    put(o.key("txRate"), v.txRate);
    put(o.key("txTotal"), v.txTotal);
}

void put(std::string& out, const DiskStats& v) {
    Object o(out);
    put(o.key("freeSpace"), v.freeSpace);
    put(o.key("readRate"), v.readRate);
    put(o.key("totalSpace"), v.totalSpace);
    put(o.key("writeRate"), v.writeRate);
}

void put(std::string& out, const BatteryStats& v) {
    Object o(out);
    put(o.key("adapterWatts"), v.adapterWatts);
    put(o.key("batteryPower"), v.batteryPower);
    put(o.key("cycleCount"), v.cycleCount);
    put(o.key("healthPercent"), v.healthPercent);
    put(o.key("isCharging"), v.isCharging);
    put(o.key("minutesRemaining"), v.minutesRemaining);
    put(o.key("onAC"), v.onAC);
    put(o.key("percent"), v.percent);
    put(o.key("present"), v.present);
    put(o.key("temperature"), v.temperature);
}

void put(std::string& out, const SensorReading& v) {
    Object o(out);
    put(o.key("group"), rawValue(v.group));
    put(o.key("name"), v.name);
    put(o.key("value"), v.value);
}

void put(std::string& out, const FanReading& v) {
    Object o(out);
    put(o.key("index"), v.index);
    put(o.key("max"), v.max);
    put(o.key("min"), v.min);
    put(o.key("rpm"), v.rpm);
}

void put(std::string& out, const ThermalStats& v) {
    Object o(out);
    put(o.key("batteryTemp"), v.batteryTemp);
    putArray(o.key("fans"), v.fans);
    put(o.key("gpuTemp"), v.gpuTemp);
    put(o.key("hasSensors"), v.hasSensors);
    putArray(o.key("sensors"), v.sensors);
    put(o.key("socMax"), v.socMax);
    put(o.key("socTemp"), v.socTemp);
    put(o.key("ssdTemp"), v.ssdTemp);
    put(o.key("state"), static_cast<int>(v.state));
}

void put(std::string& out, const SelfCost& v) {
    Object o(out);
    put(o.key("cpu"), v.cpu);
    put(o.key("diskWrittenSinceLaunch"), v.diskWrittenSinceLaunch);
    put(o.key("memory"), v.memory);
}

// Only for the processes and groups that have them, as the tree writes them.
void putGPU(Object& o, const std::optional<double>& gpu, const std::optional<uint64_t>& memory) {
    if (gpu) put(o.key("gpu"), *gpu);
    if (memory) put(o.key("gpuMemory"), *memory);
}

void put(std::string& out, const GPUDevice& v) {
    Object o(out);
    put(o.key("busy"), v.busy);
    put(o.key("driver"), v.driver);
    put(o.key("memoryTotal"), v.memoryTotal);
    put(o.key("memoryUsed"), v.memoryUsed);
    put(o.key("name"), v.name);
    put(o.key("power"), v.power);
    put(o.key("temperature"), v.temperature);
}

void put(std::string& out, const ProcessSample& v) {
    Object o(out);
    put(o.key("approximate"), v.approximate);
    put(o.key("cpu"), v.cpu);
    put(o.key("diskReadRate"), v.diskReadRate);
    put(o.key("diskWriteRate"), v.diskWriteRate);
    putGPU(o, v.gpu, v.gpuMemory);
    put(o.key("isRestricted"), v.isRestricted);
    put(o.key("memory"), v.memory);
    put(o.key("name"), v.name);
    put(o.key("path"), v.path);
    put(o.key("pid"), v.pid);
    put(o.key("power"), v.power);
    put(o.key("ppid"), v.ppid);
    put(o.key("uid"), v.uid);
    put(o.key("wakeups"), v.wakeups);
}

void put(std::string& out, const AppGroup& v) {
    Object o(out);
    put(o.key("bundleID"), v.bundleID);
    put(o.key("bundlePath"), v.bundlePath);
    put(o.key("cpu"), v.cpu);
    put(o.key("diskReadRate"), v.diskReadRate);
    put(o.key("diskWriteRate"), v.diskWriteRate);
    putGPU(o, v.gpu, v.gpuMemory);
    put(o.key("id"), v.id);
    put(o.key("kind"), rawValue(v.kind));
    put(o.key("memory"), v.memory);
    put(o.key("name"), v.name);
    put(o.key("power"), v.power);
    putArray(o.key("processes"), v.processes);
}

}  // namespace

void appendSnapshotJson(std::string& out, const Snapshot& snapshot) {
    const Snapshot& v = snapshot;
    Object o(out);
    put(o.key("battery"), v.battery);
    put(o.key("cpu"), v.cpu);
    put(o.key("date"), v.date);
    put(o.key("disk"), v.disk);
    put(o.key("gpu"), v.gpu);
    putArray(o.key("gpus"), v.gpus);
    putArray(o.key("groups"), v.groups);
    put(o.key("helperActive"), v.helperActive);
    put(o.key("interval"), v.interval);
    put(o.key("memory"), v.memory);
    put(o.key("network"), v.network);
    put(o.key("processCount"), v.processCount);
    put(o.key("restrictedVisible"), v.restrictedVisible);
    put(o.key("selfCost"), v.selfCost);
    put(o.key("systemPower"), v.systemPower);
    put(o.key("systemPowerScope"), std::string_view(v.systemPowerScope == PowerScope::package ? "package" : "machine"));
    put(o.key("thermal"), v.thermal);
    put(o.key("uptime"), v.uptime);
}

}  // namespace qm
