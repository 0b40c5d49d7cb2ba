#include "core/SnapshotJson.h"

namespace qm {

using nlohmann::json;

namespace {

template <typename T>
json opt(const std::optional<T>& value) {
    return value ? json(*value) : json(nullptr);
}

// A process's GPU figures are there only for processes that use a GPU: most have none,
// and a key for every one of them would say nothing.
void putGPU(json& j, const std::optional<double>& gpu, const std::optional<uint64_t>& memory) {
    if (gpu) j["gpu"] = *gpu;
    if (memory) j["gpuMemory"] = *memory;
}

}  // namespace

void to_json(json& j, const CPUStats& v) {
    json types = json::array();
    for (auto t : v.coreTypes) types.push_back(rawValue(t));
    j = json{{"total", v.total},     {"user", v.user},     {"system", v.system},
             {"perCore", v.perCore}, {"coreTypes", types}, {"load", v.load}};
}

void to_json(json& j, const MemoryStats& v) {
    j = json{{"total", v.total},       {"app", v.app},
             {"wired", v.wired},       {"compressed", v.compressed},
             {"cached", v.cached},     {"free", v.free},
             {"swapUsed", v.swapUsed}, {"swapTotal", v.swapTotal},
             {"pressure", v.pressure}, {"pressureLevel", rawValue(v.pressureLevel)}};
}

void to_json(json& j, const NetworkStats& v) {
    j = json{{"rxRate", v.rxRate}, {"txRate", v.txRate}, {"rxTotal", v.rxTotal}, {"txTotal", v.txTotal}};
}

void to_json(json& j, const DiskStats& v) {
    j = json{{"readRate", v.readRate},
             {"writeRate", v.writeRate},
             {"totalSpace", v.totalSpace},
             {"freeSpace", v.freeSpace}};
}

void to_json(json& j, const BatteryStats& v) {
    j = json{{"present", v.present},
             {"percent", v.percent},
             {"isCharging", v.isCharging},
             {"onAC", v.onAC},
             {"minutesRemaining", opt(v.minutesRemaining)},
             {"cycleCount", opt(v.cycleCount)},
             {"healthPercent", opt(v.healthPercent)},
             {"temperature", opt(v.temperature)},
             {"batteryPower", opt(v.batteryPower)},
             {"adapterWatts", opt(v.adapterWatts)}};
}

void to_json(json& j, const SensorReading& v) {
    j = json{{"name", v.name}, {"value", v.value}, {"group", rawValue(v.group)}};
}

void to_json(json& j, const FanReading& v) {
    j = json{{"index", v.index}, {"rpm", v.rpm}, {"min", opt(v.min)}, {"max", opt(v.max)}};
}

void to_json(json& j, const ThermalStats& v) {
    j = json{{"state", static_cast<int>(v.state)},
             {"hasSensors", v.hasSensors},
             {"socTemp", opt(v.socTemp)},
             {"socMax", opt(v.socMax)},
             {"gpuTemp", opt(v.gpuTemp)},
             {"ssdTemp", opt(v.ssdTemp)},
             {"batteryTemp", opt(v.batteryTemp)},
             {"sensors", v.sensors},
             {"fans", v.fans}};
}

void to_json(json& j, const SelfCost& v) {
    j = json{{"cpu", v.cpu}, {"memory", v.memory}, {"diskWrittenSinceLaunch", v.diskWrittenSinceLaunch}};
}

void to_json(json& j, const ProcessSample& v) {
    j = json{{"pid", v.pid},
             {"ppid", v.ppid},
             {"uid", v.uid},
             {"name", v.name},
             {"path", v.path},
             {"cpu", v.cpu},
             {"memory", v.memory},
             {"power", opt(v.power)},
             {"diskReadRate", v.diskReadRate},
             {"diskWriteRate", v.diskWriteRate},
             {"wakeups", v.wakeups},
             {"approximate", v.approximate},
             {"isRestricted", v.isRestricted}};
    putGPU(j, v.gpu, v.gpuMemory);
}

void to_json(json& j, const AppGroup& v) {
    j = json{{"id", v.id},
             {"name", v.name},
             {"kind", rawValue(v.kind)},
             {"bundlePath", opt(v.bundlePath)},
             {"bundleID", opt(v.bundleID)},
             {"processes", v.processes},
             {"cpu", v.cpu},
             {"memory", v.memory},
             {"power", opt(v.power)},
             {"diskWriteRate", v.diskWriteRate},
             {"diskReadRate", v.diskReadRate}};
    putGPU(j, v.gpu, v.gpuMemory);
}

void to_json(json& j, const GPUDevice& v) {
    j = json{{"name", v.name},
             {"driver", v.driver},
             {"busy", opt(v.busy)},
             {"memoryUsed", opt(v.memoryUsed)},
             {"memoryTotal", opt(v.memoryTotal)},
             {"temperature", opt(v.temperature)},
             {"power", opt(v.power)}};
}

void to_json(json& j, const TimelineEvent& v) {
    j = json{{"id", v.id},       {"date", v.date},     {"kind", rawValue(v.kind)}, {"severity", v.severity},
             {"title", v.title}, {"detail", v.detail}, {"appKey", opt(v.appKey)},  {"appName", opt(v.appName)}};
}

void to_json(json& j, const Snapshot& v) {
    j = json{{"date", v.date},
             {"interval", v.interval},
             {"cpu", v.cpu},
             {"memory", v.memory},
             {"gpu", opt(v.gpu)},
             {"gpus", v.gpus},
             {"systemPower", opt(v.systemPower)},
             {"systemPowerScope", v.systemPowerScope == PowerScope::package ? "package" : "machine"},
             {"network", v.network},
             {"disk", v.disk},
             {"battery", v.battery},
             {"thermal", v.thermal},
             {"groups", v.groups},
             {"processCount", v.processCount},
             {"restrictedVisible", v.restrictedVisible},
             {"helperActive", v.helperActive},
             {"selfCost", v.selfCost},
             {"uptime", v.uptime}};
}

void to_json(json& j, const SystemMinute& v) {
    j = json{{"ts", v.ts},
             {"cpu", v.cpu},
             {"memUsed", v.memUsed},
             {"memTotal", v.memTotal},
             {"pressure", v.pressure},
             {"pressureLevel", v.pressureLevel},
             {"swap", v.swap},
             {"gpu", opt(v.gpu)},
             {"power", opt(v.power)},
             {"socTemp", opt(v.socTemp)},
             {"netRx", v.netRx},
             {"netTx", v.netTx},
             {"diskRead", v.diskRead},
             {"diskWrite", v.diskWrite},
             {"battery", opt(v.battery)},
             {"onBattery", v.onBattery},
             {"thermal", v.thermal}};
}

void to_json(json& j, const AppMinute& v) {
    j = json{{"ts", v.ts},         {"key", v.key},       {"name", v.name},          {"cpu", v.cpu},
             {"memory", v.memory}, {"energy", v.energy}, {"diskWrite", v.diskWrite}};
}

void to_json(json& j, const AppTotal& v) {
    j = json{{"key", v.key},
             {"name", v.name},
             {"cpuSeconds", v.cpuSeconds},
             {"energy", v.energy},
             {"peakMemory", v.peakMemory},
             {"diskWritten", v.diskWritten}};
}

void from_json(const json& j, TimelineEvent& v) {
    auto kind = eventKindFromRaw(j.at("kind").get<std::string>());
    if (!kind) throw json::other_error::create(501, "unknown event kind", &j);
    v.kind = *kind;
    v.id = j.value("id", int64_t{0});
    v.date = j.at("date").get<double>();
    v.severity = j.value("severity", int64_t{0});
    v.title = j.value("title", std::string());
    v.detail = j.value("detail", std::string());
    auto optString = [&](const char* key) -> std::optional<std::string> {
        if (!j.contains(key) || j.at(key).is_null()) return std::nullopt;
        return j.at(key).get<std::string>();
    };
    v.appKey = optString("appKey");
    v.appName = optString("appName");
}

}  // namespace qm
