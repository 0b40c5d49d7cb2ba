// The operating system's four-level thermal state where the system does not report
// one itself (Linux): derived from how close the hottest CPU sensor runs to its
// limits, and raised while the processor counts thermal throttling.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

// A sensor's own limits, in °C. `high` is where the hardware or kernel starts to slow
// down (hwmon _max, a zone's passive trip); `critical` where it shuts down or clamps
// hard (hwmon _crit, a zone's critical or hot trip). Either may be absent.
struct ThermalLimits {
    std::optional<double> high;
    std::optional<double> critical;
};

// A limit is believed only between 40 and 150 °C: drivers report 0 for "none" and
// some NVMe and ACPI tables report 65 261 °C.
bool isPlausibleLimit(double celsius);

// The state for one temperature against its limits:
//   critical  at or above the critical limit;
//   serious   at or above the high limit;
//   fair      within 15 °C below the high limit;
//   nominal   otherwise.
// A missing critical limit is taken as high + 10; a missing high limit (or one not
// below critical) as critical − 5; with neither, critical is 105 °C and high 100 °C,
// which leaves a Ryzen holding its 95 °C boost target at fair, not serious.
ThermalState thermalStateFor(double celsius, const ThermalLimits& limits);

// One level up, at most critical.
ThermalState raised(ThermalState state);

// Remembers throttle counters between calls and says whether any grew.
class ThrottleWatch {
public:
    // True when any counter is larger than last time. A different number of counters
    // (a CPU went offline) starts over without reporting growth.
    bool grew(const std::vector<uint64_t>& counts);

private:
    std::vector<uint64_t> previous_;
};

}  // namespace qm
