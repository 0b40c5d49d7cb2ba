// The range of every numeric setting. `config set` refuses a value outside it and
// names the range; a value outside it found in the settings file (edited by hand) is
// read as the nearest end, so no setting can make the sampler spin or an alert fire
// every tick.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qm {

struct SettingRange {
    double lowest;
    double highest;
    const char* unit;  // "seconds", "percent", "minutes"
};

// The range of a numeric setting; absent for keys that are not numbers.
std::optional<SettingRange> settingRange(std::string_view key);

// `value` moved into the key's range (unchanged for keys without one).
double clampToRange(std::string_view key, double value);

// "1 to 60 seconds"
std::string describe(const SettingRange& range);

}  // namespace qm
