// Battery, adapters and whole-machine power on Linux: power_supply for the battery and
// the adapters, RAPL energy counters for the machine when readable (root-only on most
// kernels), the battery's discharge otherwise.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/Platform.h"
#include "readers/PowerRapl.h"
#include "readers/PowerSupply.h"

namespace qm {

// Every entry of `root`/sys/class/power_supply as a property map (with "type"
// always filled in); entries that vanish while being read are left out.
std::vector<SupplyProperties> readPowerSupplies(const std::string& root);

// The RAPL zones that measure the machine, chosen among the top-level zones
// ("intel-rapl:0", not the "intel-rapl:0:0" parts they contain; AMD processors use the
// same interface). Intel laptops have a "psys" zone for the whole platform, which
// already holds the packages: it is used alone when its counter is readable. Otherwise
// the package zones are summed, and the figure covers only the processors.
struct RaplPlan {
    std::vector<std::string> zones;  // directory names below /sys/class/powercap
    PowerScope scope = PowerScope::package;
    bool hiddenZones = false;  // top-level zones whose counters this user cannot read
};
RaplPlan planRapl(const std::string& root);

// The counters of the planned zones; a zone that cannot be read is left out (and the
// meter then starts over, as the set of zones changed).
std::vector<RaplZone> readRaplZones(const std::string& root, const RaplPlan& plan);
// The same for the zones planned now (what the helper reads for an unprivileged user).
std::vector<RaplZone> readRaplZones(const std::string& root);
// What the given zones measure, from their labels (readable by anyone).
PowerScope raplScope(const std::string& root, const std::vector<RaplZone>& zones);

class LinuxPowerSource : public PowerSource {
public:
    using Seconds = std::function<double()>;
    // `seconds` is a monotonic clock (tests drive it by hand).
    LinuxPowerSource(std::string root, Seconds seconds);
    std::optional<PowerReading> read() override;

private:
    // The zones are listed again once a minute: a machine without readable counters
    // (most, for a user other than root) is not probed on every tick.
    const RaplPlan& plan();

    std::string root_;
    Seconds seconds_;
    RaplMeter rapl_;
    RaplPlan plan_;
    std::optional<double> plannedAt_;
};

}  // namespace qm
