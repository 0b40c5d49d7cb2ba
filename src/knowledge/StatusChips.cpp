#include "knowledge/StatusChips.h"

#include <cmath>

#include "fmt/Fmt.h"
#include "knowledge/Localized.h"

namespace qm {

int64_t wholeGigabytes(uint64_t bytes) { return int64_t(std::llround(double(bytes) / double(1ull << 30))); }

std::vector<StatusChip> statusChips(const Snapshot& snapshot, uint64_t installedMemory, const std::string& chipName,
                                    const std::string& systemName) {
    std::vector<StatusChip> chips;
    chips.push_back(
        {"square.stack.3d.up", fill("%1$lld processes → %2$lld apps",
                                    {std::to_string(snapshot.processCount), std::to_string(snapshot.groups.size())})});
    const uint64_t memory = installedMemory > 0 ? installedMemory : snapshot.memory.total;
    chips.push_back({"memorychip", fill("%lld GB memory", {std::to_string(wholeGigabytes(memory))})});
    // A missing boot time reads 0; a non-finite span would be a reader fault.
    const double uptime = std::isfinite(snapshot.uptime) && snapshot.uptime > 0 ? snapshot.uptime : 0;
    chips.push_back({"clock", fill("Up %@", {Fmt::duration(uptime)})});
    if (!chipName.empty()) chips.push_back({"cpu", chipName});
    if (!systemName.empty()) chips.push_back({"apple.logo", systemName});
    return chips;
}

}  // namespace qm
