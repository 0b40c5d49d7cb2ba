#include "readers/SensorGroups.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>

namespace qm {

namespace {

std::string lowered(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return out;
}

bool containsAny(const std::string& name, std::initializer_list<std::string_view> needles) {
    return std::any_of(needles.begin(), needles.end(),
                       [&](std::string_view needle) { return name.find(needle) != std::string::npos; });
}

}  // namespace

SensorReading::Group classifySensorName(std::string_view name) {
    using Group = SensorReading::Group;
    const std::string n = lowered(name);
    if (containsAny(n, {"gpu", "gfx"})) return Group::gpu;
    if (containsAny(n, {"nand", "ssd", "disk"})) return Group::storage;
    if (containsAny(n, {"battery", "gas gauge"})) return Group::battery;
    if (containsAny(n, {"dram", "mem"})) return Group::memory;
    if (containsAny(n, {"tdie", "pacc", "eacc", "cpu", "soc", "mtr"})) return Group::cpu;
    return Group::other;
}

std::optional<SensorReading::Group> groupForChip(std::string_view chip) {
    using Group = SensorReading::Group;
    struct Entry {
        std::string_view chip;
        Group group;
    };
    // hwmon turns '-' into '_' in chip names, so both spellings of a thermal-zone
    // type are listed.
    static constexpr std::array<Entry, 19> table{{
        {"coretemp", Group::cpu},      {"k10temp", Group::cpu},     {"k8temp", Group::cpu},
        {"zenpower", Group::cpu},      {"cpu_thermal", Group::cpu}, {"cpu-thermal", Group::cpu},
        {"x86_pkg_temp", Group::cpu},  {"soc_thermal", Group::cpu}, {"bcm2835_thermal", Group::cpu},
        {"amdgpu", Group::gpu},        {"radeon", Group::gpu},      {"nouveau", Group::gpu},
        {"i915", Group::gpu},          {"xe", Group::gpu},          {"nvme", Group::storage},
        {"drivetemp", Group::storage}, {"jc42", Group::memory},     {"spd5118", Group::memory},
        {"gpu_thermal", Group::gpu},
    }};
    for (const auto& entry : table)
        if (entry.chip == chip) return entry.group;
    // Batteries register their hwmon chip under the supply's name (BAT0, BAT1, ...).
    if (chip.size() > 3 && chip.substr(0, 3) == "BAT") return Group::battery;
    return std::nullopt;
}

}  // namespace qm
