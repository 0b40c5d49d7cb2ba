#include "readers/linux/ThermalLinux.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <set>

#include "core/FileRead.h"
#include "core/Paths.h"
#include "readers/SensorReader.h"
#include "readers/Sources.h"

namespace qm {

namespace {

// A chip's package-level reading already follows its hottest core, so when a chip
// has one ("Package id 0" on Intel, "Tctl"/"Tdie" on AMD) the per-core inputs are not
// read every tick.
bool isPackageLabel(const std::string& label) {
    return label.rfind("Package id", 0) == 0 || label == "Tctl" || label == "Tdie";
}

std::vector<HwmonTemperature> cpuSensorsToWatch(const std::string& root) {
    std::vector<HwmonTemperature> cpu;
    for (auto& t : scanHwmon(root).temperatures)
        if (t.group == SensorReading::Group::cpu) cpu.push_back(std::move(t));
    std::set<std::string> chipsWithPackage;
    for (const auto& t : cpu)
        if (isPackageLabel(t.label)) chipsWithPackage.insert(t.chip);
    std::erase_if(cpu, [&](const HwmonTemperature& t) {
        return chipsWithPackage.count(t.chip) && !isPackageLabel(t.label);
    });
    return cpu;
}

// One package_throttle_count per physical package: every CPU of a package repeats it.
std::vector<std::string> packageThrottleCounters(const std::string& root) {
    const std::string base = root + "/sys/devices/system/cpu";
    std::map<std::string, std::string> byPackage;
    for (const auto& name : listDirectory(base)) {
        if (name.rfind("cpu", 0) != 0 || !parseUInt(std::string_view(name).substr(3))) continue;
        const std::string counter = base + "/" + name + "/thermal_throttle/package_throttle_count";
        if (!pathExists(counter)) continue;
        auto package = readLine(base + "/" + name + "/topology/physical_package_id");
        std::string key = package ? std::string(trim(*package)) : std::string("?");
        auto [it, inserted] = byPackage.emplace(key, counter);
        if (!inserted && counter < it->second) it->second = counter;
    }
    std::vector<std::string> counters;
    for (auto& entry : byPackage) counters.push_back(entry.second);
    return counters;
}

}  // namespace

LinuxThermalMonitor::LinuxThermalMonitor(const std::string& root)
    : watched_(cpuSensorsToWatch(root)), throttleCounters_(packageThrottleCounters(root)) {
    for (auto& zone : scanTripZones(root)) watched_.push_back(std::move(zone));
}

ThermalState LinuxThermalMonitor::read() {
    ThermalState state = ThermalState::nominal;
    for (const auto& sensor : watched_) {
        auto celsius = readMilliCelsius(sensor.inputPath);
        if (!celsius || !isPlausibleTemperature(*celsius)) continue;
        state = std::max(state, thermalStateFor(*celsius, sensor.limits));
    }
    std::vector<uint64_t> counts;
    counts.reserve(throttleCounters_.size());
    for (const auto& path : throttleCounters_) counts.push_back(readUInt(path).value_or(0));
    // Intel laptops log brief package throttles routinely; one step up keeps a momentary
    // spike from reading as overheating, while sustained heat reaches serious through
    // the temperature itself.
    if (throttle_.grew(counts)) state = raised(state);
    return state;
}

ThermalState readThermalState() {
    static std::mutex lock;
    static LinuxThermalMonitor monitor(systemRoot());
    std::lock_guard guard(lock);
    return monitor.read();
}

}  // namespace qm
