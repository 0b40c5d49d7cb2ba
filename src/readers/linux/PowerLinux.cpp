#include "readers/linux/PowerLinux.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "core/FileRead.h"
#include "core/Paths.h"
#include "readers/PowerCommon.h"
#include "readers/Sources.h"
#include "readers/linux/RaplFromHelper.h"

namespace qm {

namespace {

// The attribute files read one by one when an entry has no readable uevent.
constexpr std::array<const char*, 22> kAttributes{"type",
                                                  "status",
                                                  "present",
                                                  "online",
                                                  "scope",
                                                  "capacity",
                                                  "energy_now",
                                                  "energy_full",
                                                  "energy_full_design",
                                                  "charge_now",
                                                  "charge_full",
                                                  "charge_full_design",
                                                  "power_now",
                                                  "current_now",
                                                  "voltage_now",
                                                  "voltage_min_design",
                                                  "cycle_count",
                                                  "temp",
                                                  "time_to_empty_now",
                                                  "time_to_full_now",
                                                  "voltage_max",
                                                  "current_max"};

SupplyProperties readSupply(const std::string& dir) {
    SupplyProperties properties;
    if (auto uevent = readFile(dir + "/uevent", 16 * 1024)) properties = parseSupplyUevent(*uevent);
    if (properties.size() <= 1) {  // only the name, or nothing
        for (const char* name : kAttributes)
            if (auto line = readLine(dir + "/" + name)) properties[name] = std::string(trim(*line));
    }
    // Older kernels leave the type out of uevent.
    if (!properties.count("type"))
        if (auto type = readLine(dir + "/type")) properties["type"] = std::string(trim(*type));
    return properties;
}

}  // namespace

std::vector<SupplyProperties> readPowerSupplies(const std::string& root) {
    const std::string base = root + "/sys/class/power_supply";
    auto names = listDirectory(base);
    std::sort(names.begin(), names.end());
    std::vector<SupplyProperties> supplies;
    for (const auto& name : names) {
        auto properties = readSupply(base + "/" + name);
        if (properties.count("type")) supplies.push_back(std::move(properties));
    }
    return supplies;
}

std::vector<RaplZone> readRaplZones(const std::string& root) {
    const std::string base = root + "/sys/class/powercap";
    auto names = listDirectory(base);
    std::sort(names.begin(), names.end());
    std::vector<RaplZone> zones;
    for (const auto& name : names) {
        // "intel-rapl:0" (AMD processors use the same interface); "intel-rapl:0:1"
        // is a part of package 0 and already counted in it.
        if (name.rfind("intel-rapl:", 0) != 0 || std::count(name.begin(), name.end(), ':') != 1) continue;
        auto energy = readUInt(base + "/" + name + "/energy_uj");
        if (!energy) continue;
        zones.push_back({name, *energy, readUInt(base + "/" + name + "/max_energy_range_uj").value_or(0)});
    }
    return zones;
}

LinuxPowerSource::LinuxPowerSource(std::string root, Seconds seconds)
    : root_(std::move(root)), seconds_(std::move(seconds)) {
    // A first sample now, so that the first read already has a span to measure.
    rapl_.update(readRaplZonesWithHelper(root_), seconds_());
}

std::optional<PowerReading> LinuxPowerSource::read() {
    PowerReading reading;
    reading.battery = batteryFromSupplies(readPowerSupplies(root_));
    auto zones = readRaplZonesWithHelper(root_);
    std::optional<double> measured = zones.empty() ? std::nullopt : rapl_.update(zones, seconds_());
    reading.systemPower = systemPowerOrDischarge(measured, reading.battery);
    return reading;
}

std::unique_ptr<PowerSource> makePowerSource() {
    return std::make_unique<LinuxPowerSource>(systemRoot(), [] {
        using namespace std::chrono;
        return duration<double>(steady_clock::now().time_since_epoch()).count();
    });
}

}  // namespace qm
