// Whole-machine power from the processor's running energy counters (Intel and AMD
// RAPL through powercap): watts are the energy used between two readings over the
// time between them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qm {

struct RaplZone {
    std::string name;         // "intel-rapl:0"
    uint64_t energyUj = 0;    // running counter, µJ
    uint64_t maxRangeUj = 0;  // where the counter wraps to 0
};

class RaplMeter {
public:
    // The shortest span a figure is measured over: the counters move in steps and
    // are read a little apart from the clock, so a few milliseconds right after start
    // would give a fraction of the truth, or 0.
    static constexpr double minimumSpan = 0.5;

    // Watts since the base reading. Absent on the first update, when the set of zones
    // changed or time went back (the meter starts over), and until the base is at
    // least `minimumSpan` old; once measured, a read sooner than that keeps the last
    // figure and the base, so the next figure covers the whole span. A counter that
    // went backwards wrapped at its range; without a known range the reading is
    // dropped and this reading becomes the base.
    std::optional<double> update(const std::vector<RaplZone>& zones, double seconds);

private:
    std::vector<RaplZone> previous_;
    double previousSeconds_ = 0;
    std::optional<double> last_;
};

}  // namespace qm
