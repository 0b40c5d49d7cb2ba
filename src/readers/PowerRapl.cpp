#include "readers/PowerRapl.h"

namespace qm {

std::optional<double> RaplMeter::update(const std::vector<RaplZone>& zones, double seconds) {
    bool comparable = !previous_.empty() && previous_.size() == zones.size();
    for (size_t i = 0; comparable && i < zones.size(); ++i) comparable = previous_[i].name == zones[i].name;

    std::optional<double> watts;
    const double elapsed = seconds - previousSeconds_;
    if (comparable && elapsed >= 0 && elapsed < minimumSpan) return last_;
    if (comparable && elapsed > 0) {
        double joules = 0;
        bool ok = true;
        for (size_t i = 0; i < zones.size() && ok; ++i) {
            const uint64_t before = previous_[i].energyUj, after = zones[i].energyUj;
            if (after >= before) {
                joules += static_cast<double>(after - before) * 1e-6;
            } else if (zones[i].maxRangeUj > before) {
                joules += static_cast<double>(zones[i].maxRangeUj - before + after) * 1e-6;
            } else {
                ok = false;
            }
        }
        if (ok) watts = joules / elapsed;
    }
    previous_ = zones;
    previousSeconds_ = seconds;
    last_ = watts;
    return watts;
}

}  // namespace qm
