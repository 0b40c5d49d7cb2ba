#include "readers/GPUUtilisation.h"

#include <algorithm>
#include <cmath>

namespace qm {

std::optional<double> busiestAccelerator(const std::vector<double>& percents) {
    std::optional<double> best;
    for (double value : percents) {
        if (!std::isfinite(value)) continue;
        best = std::max(best.value_or(value), value);
    }
    if (best) best = std::clamp(*best, 0.0, 100.0);
    return best;
}

std::optional<double> acceleratorUtilisation(const PropertyMap& performanceStatistics) {
    if (auto value = propertyNumber(performanceStatistics, "Device Utilization %")) return value;
    return propertyNumber(performanceStatistics, "GPU Activity(%)");
}

}  // namespace qm
