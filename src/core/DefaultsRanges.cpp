#include "core/DefaultsRanges.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace qm {

namespace {

std::string plain(double value) {
    std::string text = std::to_string(value);
    text.erase(text.find_last_not_of('0') + 1);
    if (!text.empty() && text.back() == '.') text.pop_back();
    return text;
}

}  // namespace

std::optional<SettingRange> settingRange(std::string_view key) {
    // Live refresh faster than a second costs more than it shows; slower than a minute
    // is no longer live. The CPU threshold is in percent of one core (100 per core).
    // Zero minutes means "at the first sample over the threshold": with the threshold
    // at 10 % or more and one report per app per 45 minutes it cannot flood.
    static const std::pair<std::string_view, SettingRange> ranges[] = {
        {"refresh.interval", {1, 60, "seconds"}},
        {"top.interval", {1, 60, "seconds"}},
        {"alert.highCPU.threshold", {10, 10000, "percent of one core"}},
        {"alert.highCPU.minutes", {0, 1440, "minutes"}},
        // Each app shown costs five series per machine in Prometheus.
        {"metrics.apps", {0, 500, "apps"}},
    };
    for (const auto& [name, range] : ranges)
        if (name == key) return range;
    return std::nullopt;
}

double clampToRange(std::string_view key, double value) {
    auto range = settingRange(key);
    if (!range) return value;
    if (std::isnan(value)) return range->lowest;
    return std::clamp(value, range->lowest, range->highest);
}

std::string describe(const SettingRange& range) {
    return plain(range.lowest) + " to " + plain(range.highest) + " " + range.unit;
}

}  // namespace qm
