#include "readers/ThermalState.h"

#include <algorithm>

namespace qm {

namespace {
constexpr double kFairBand = 15.0;
constexpr double kDefaultCritical = 105.0;
constexpr double kDefaultHigh = 100.0;
}  // namespace

bool isPlausibleLimit(double celsius) { return celsius > 40.0 && celsius <= 150.0; }

ThermalState thermalStateFor(double celsius, const ThermalLimits& limits) {
    const bool hasHigh = limits.high && isPlausibleLimit(*limits.high);
    const bool hasCritical = limits.critical && isPlausibleLimit(*limits.critical);
    double high = hasHigh ? *limits.high : kDefaultHigh;
    double critical = hasCritical ? *limits.critical : kDefaultCritical;
    if (hasHigh && !hasCritical) critical = high + 10.0;
    if ((hasCritical && !hasHigh) || high >= critical) high = critical - 5.0;

    if (celsius >= critical) return ThermalState::critical;
    if (celsius >= high) return ThermalState::serious;
    if (celsius >= high - kFairBand) return ThermalState::fair;
    return ThermalState::nominal;
}

ThermalState raised(ThermalState state) {
    return static_cast<ThermalState>(std::min(static_cast<int>(state) + 1, static_cast<int>(ThermalState::critical)));
}

bool ThrottleWatch::grew(const std::vector<uint64_t>& counts) {
    bool growth = false;
    if (counts.size() == previous_.size()) {
        for (size_t i = 0; i < counts.size(); ++i)
            if (counts[i] > previous_[i]) growth = true;
    }
    previous_ = counts;
    return growth;
}

}  // namespace qm
