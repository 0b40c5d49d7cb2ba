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

RaplPlan planRapl(const std::string& root) {
    const std::string base = root + "/sys/class/powercap";
    auto names = listDirectory(base);
    std::sort(names.begin(), names.end());
    RaplPlan plan;
    for (const auto& name : names) {
        if (name.rfind("intel-rapl:", 0) != 0 || std::count(name.begin(), name.end(), ':') != 1) continue;
        if (!readUInt(base + "/" + name + "/energy_uj")) {
            plan.hiddenZones = true;  // root-only on most kernels: the helper may read it
            continue;
        }
        auto label = readLine(base + "/" + name + "/name");
        std::string zone = label ? std::string(trim(*label)) : std::string();
        if (zone == "psys") return RaplPlan{{name}, PowerScope::machine, plan.hiddenZones};
        // Some firmware adds top-level zones for memory; only packages are summed.
        if (zone.empty() || zone.rfind("package", 0) == 0) plan.zones.push_back(name);
    }
    return plan;
}

std::vector<RaplZone> readRaplZones(const std::string& root, const RaplPlan& plan) {
    const std::string base = root + "/sys/class/powercap/";
    std::vector<RaplZone> zones;
    zones.reserve(plan.zones.size());
    for (const auto& name : plan.zones) {
        auto energy = readUInt(base + name + "/energy_uj");
        if (!energy) continue;
        zones.push_back({name, *energy, readUInt(base + name + "/max_energy_range_uj").value_or(0)});
    }
    return zones;
}

std::vector<RaplZone> readRaplZones(const std::string& root) { return readRaplZones(root, planRapl(root)); }

PowerScope raplScope(const std::string& root, const std::vector<RaplZone>& zones) {
    for (const auto& zone : zones) {
        auto label = readLine(root + "/sys/class/powercap/" + zone.name + "/name");
        if (label && trim(*label) == "psys") return PowerScope::machine;
    }
    return PowerScope::package;
}

LinuxPowerSource::LinuxPowerSource(std::string root, Seconds seconds)
    : root_(std::move(root)), seconds_(std::move(seconds)) {
    // A first sample now, so that the first read already has a span to measure.
    rapl_.update(readRaplZones(root_, plan()), seconds_());
}

const RaplPlan& LinuxPowerSource::plan() {
    const double now = seconds_();
    if (!plannedAt_ || now - *plannedAt_ >= 60 || now < *plannedAt_) {
        plan_ = planRapl(root_);
        plannedAt_ = now;
    }
    return plan_;
}

std::optional<PowerReading> LinuxPowerSource::read() {
    PowerReading reading;
    reading.battery = batteryFromSupplies(readPowerSupplies(root_));
    const RaplPlan& zones = plan();
    std::vector<RaplZone> counters;
    PowerScope scope = zones.scope;
    if (!zones.zones.empty()) counters = readRaplZones(root_, zones);
    if (counters.empty() && root_.empty() && zones.hiddenZones) {
        // The kernel keeps the counters from us: the helper reads the same zones. A
        // machine without RAPL zones asks nobody until the zones are listed again.
        counters = readRaplZonesWithHelper(root_);
        scope = raplScope(root_, counters);
    }
    std::optional<double> measured = counters.empty() ? std::nullopt : rapl_.update(counters, seconds_());
    reading.systemPower = systemPowerOrDischarge(measured, reading.battery);
    // The battery's discharge covers the whole machine; only a package sum does not.
    if (measured) reading.systemPowerScope = scope;
    return reading;
}

std::unique_ptr<PowerSource> makePowerSource() {
    return std::make_unique<LinuxPowerSource>(systemRoot(), [] {
        using namespace std::chrono;
        return duration<double>(steady_clock::now().time_since_epoch()).count();
    });
}

}  // namespace qm
