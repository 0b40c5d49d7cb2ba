// Battery, adapters and whole-machine power on Linux: power_supply for the battery and
// the adapters, RAPL energy counters for the machine when readable (root-only on most
// kernels), the battery's discharge otherwise.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/Platform.h"
#include "readers/PowerRapl.h"
#include "readers/PowerSupply.h"

namespace qm {

// Every entry of `root`/sys/class/power_supply as a property map (with "type"
// always filled in); entries that vanish while being read are left out.
std::vector<SupplyProperties> readPowerSupplies(const std::string& root);

// The top-level RAPL zones ("intel-rapl:0", not the "intel-rapl:0:0" parts they
// contain) whose counter is readable.
std::vector<RaplZone> readRaplZones(const std::string& root);

class LinuxPowerSource : public PowerSource {
public:
    using Seconds = std::function<double()>;
    // `seconds` is a monotonic clock (tests drive it by hand).
    LinuxPowerSource(std::string root, Seconds seconds);
    std::optional<PowerReading> read() override;

private:
    std::string root_;
    Seconds seconds_;
    RaplMeter rapl_;
};

}  // namespace qm
