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
    // Watts since the previous update, or absent on the first update, when time has
    // not moved on, or when the set of zones changed (the meter starts over). A
    // counter that went backwards wrapped at its range; without a known range the
    // reading is dropped.
    std::optional<double> update(const std::vector<RaplZone>& zones, double seconds);

private:
    std::vector<RaplZone> previous_;
    double previousSeconds_ = 0;
};

}  // namespace qm
