#include "readers/linux/SensorHwmonScan.h"

#include <algorithm>
#include <map>

#include "core/FileRead.h"
#include "readers/SensorGroups.h"

namespace qm {

namespace {

// The number after `prefix` in names like "hwmon12" or "temp3_input"; absent when the
// name has another shape.
std::optional<uint64_t> indexAfter(std::string_view name, std::string_view prefix, std::string_view suffix) {
    if (name.size() <= prefix.size() + suffix.size()) return std::nullopt;
    if (name.substr(0, prefix.size()) != prefix) return std::nullopt;
    if (name.substr(name.size() - suffix.size()) != suffix) return std::nullopt;
    return parseUInt(name.substr(prefix.size(), name.size() - prefix.size() - suffix.size()));
}

// Directory entries `prefix`N`suffix`, by N.
std::vector<uint64_t> numbered(const std::vector<std::string>& names, std::string_view prefix,
                               std::string_view suffix) {
    std::vector<uint64_t> indexes;
    for (const auto& name : names)
        if (auto index = indexAfter(name, prefix, suffix)) indexes.push_back(*index);
    std::sort(indexes.begin(), indexes.end());
    return indexes;
}

std::string readTrimmed(const std::string& path) {
    auto line = readLine(path);
    return line ? std::string(trim(*line)) : std::string();
}

std::optional<double> readLimit(const std::string& path) {
    auto value = readMilliCelsius(path);
    return value && isPlausibleLimit(*value) ? value : std::nullopt;
}

std::optional<double> readRpm(const std::string& path) {
    auto value = readDouble(path);
    return value && *value >= 0 ? value : std::nullopt;
}

void nameReadings(std::vector<HwmonTemperature>& temperatures) {
    std::map<std::string, int> seen;
    for (auto& t : temperatures) {
        std::string base = t.label.empty() ? (t.name.empty() ? t.chip : t.name) : t.label;
        if (t.group != SensorReading::Group::cpu && !t.label.empty()) base = t.chip + " " + t.label;
        int count = ++seen[base];
        t.name = count == 1 ? base : base + " " + std::to_string(count);
    }
}

void demoteGuessedCPU(std::vector<HwmonTemperature>& temperatures) {
    const bool cpuChip = std::any_of(temperatures.begin(), temperatures.end(), [](const auto& t) {
        return t.group == SensorReading::Group::cpu && !t.groupFromLabel;
    });
    if (!cpuChip) return;
    for (auto& t : temperatures)
        if (t.group == SensorReading::Group::cpu && t.groupFromLabel) t.group = SensorReading::Group::other;
}

void sortByGroup(std::vector<HwmonTemperature>& temperatures) {
    std::stable_sort(temperatures.begin(), temperatures.end(),
                     [](const auto& a, const auto& b) { return a.group < b.group; });
}

void scanChip(const std::string& dir, HwmonScan& scan) {
    // Older drivers keep their attributes in the device directory below the hwmon entry.
    std::string attributes = dir;
    std::string chip = readTrimmed(dir + "/name");
    auto names = listDirectory(dir);
    if (chip.empty() || (numbered(names, "temp", "_input").empty() && numbered(names, "fan", "_input").empty())) {
        auto deviceNames = listDirectory(dir + "/device");
        if (!numbered(deviceNames, "temp", "_input").empty() || !numbered(deviceNames, "fan", "_input").empty()) {
            attributes = dir + "/device";
            names = std::move(deviceNames);
            if (chip.empty()) chip = readTrimmed(attributes + "/name");
        }
    }
    if (chip.empty()) chip = "hwmon";
    const auto chipGroup = groupForChip(chip);

    for (uint64_t n : numbered(names, "temp", "_input")) {
        const std::string base = attributes + "/temp" + std::to_string(n);
        HwmonTemperature t;
        t.chip = chip;
        t.label = readTrimmed(base + "_label");
        t.group = chipGroup ? *chipGroup : classifySensorName(t.label.empty() ? chip : t.label);
        t.groupFromLabel = !chipGroup;
        t.inputPath = base + "_input";
        t.limits = {readLimit(base + "_max"), readLimit(base + "_crit")};
        // Unlabelled inputs are told apart by their number.
        if (t.label.empty()) t.name = chip + " temp" + std::to_string(n);
        scan.temperatures.push_back(std::move(t));
    }
    for (uint64_t n : numbered(names, "fan", "_input")) {
        const std::string base = attributes + "/fan" + std::to_string(n);
        scan.fans.push_back({base + "_input", readRpm(base + "_min"), readRpm(base + "_max")});
    }
}

std::vector<std::string> zoneDirectories(const std::string& root) {
    const std::string base = root + "/sys/class/thermal";
    std::vector<std::pair<uint64_t, std::string>> zones;
    for (const auto& name : listDirectory(base))
        if (auto n = indexAfter(name + "/", "thermal_zone", "/")) zones.emplace_back(*n, base + "/" + name);
    std::sort(zones.begin(), zones.end());
    std::vector<std::string> dirs;
    for (auto& zone : zones) dirs.push_back(std::move(zone.second));
    return dirs;
}

HwmonTemperature zoneReading(const std::string& dir) {
    HwmonTemperature t;
    t.chip = readTrimmed(dir + "/type");
    if (t.chip.empty()) t.chip = "thermal zone";
    auto chipGroup = groupForChip(t.chip);
    t.group = chipGroup ? *chipGroup : classifySensorName(t.chip);
    t.inputPath = dir + "/temp";
    return t;
}

}  // namespace

std::optional<double> readMilliCelsius(const std::string& path) {
    auto value = readInt(path);
    if (!value) return std::nullopt;
    return static_cast<double>(*value) / 1000.0;
}

HwmonScan scanHwmon(const std::string& root) {
    HwmonScan scan;
    const std::string base = root + "/sys/class/hwmon";
    std::vector<std::pair<uint64_t, std::string>> chips;
    for (const auto& name : listDirectory(base))
        if (auto n = indexAfter(name + "/", "hwmon", "/")) chips.emplace_back(*n, name);
    std::sort(chips.begin(), chips.end());
    for (const auto& chip : chips) scanChip(base + "/" + chip.second, scan);

    if (scan.temperatures.empty())
        for (const auto& dir : zoneDirectories(root)) scan.temperatures.push_back(zoneReading(dir));

    demoteGuessedCPU(scan.temperatures);
    sortByGroup(scan.temperatures);
    nameReadings(scan.temperatures);
    return scan;
}

std::vector<HwmonTemperature> scanTripZones(const std::string& root) {
    std::vector<HwmonTemperature> zones;
    for (const auto& dir : zoneDirectories(root)) {
        HwmonTemperature zone = zoneReading(dir);
        zone.name = zone.chip;
        auto names = listDirectory(dir);
        for (uint64_t n : numbered(names, "trip_point_", "_type")) {
            const std::string trip = dir + "/trip_point_" + std::to_string(n);
            const std::string type = readTrimmed(trip + "_type");
            auto temp = readLimit(trip + "_temp");
            if (!temp) continue;
            if (type != "passive" && type != "critical" && type != "hot") continue;
            auto& slot = type == "passive" ? zone.limits.high : zone.limits.critical;
            slot = slot ? std::min(*slot, *temp) : *temp;
        }
        if (zone.limits.high || zone.limits.critical) zones.push_back(std::move(zone));
    }
    return zones;
}

}  // namespace qm
