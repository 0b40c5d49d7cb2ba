#include "readers/MachineInfo.h"

#include <algorithm>

namespace qm {

using CoreType = CPUStats::CoreType;

std::string MachineInfo::systemName() const {
    if (osVersion.empty() || osName.find(osVersion) != std::string::npos) return osName;
    return osName + " " + osVersion;
}

const MachineInfo& MachineInfo::current() {
    static const MachineInfo info = readMachineInfo();
    return info;
}

std::vector<CoreType> coreTypesFromLists(const std::vector<int>& cpus, const std::vector<int>& performance,
                                         const std::vector<int>& efficiency) {
    std::vector<CoreType> types;
    types.reserve(cpus.size());
    auto listed = [](const std::vector<int>& list, int cpu) {
        return std::find(list.begin(), list.end(), cpu) != list.end();
    };
    for (int cpu : cpus) {
        if (listed(efficiency, cpu))
            types.push_back(CoreType::efficiency);
        else if (listed(performance, cpu))
            types.push_back(CoreType::performance);
        else
            types.push_back(CoreType::unknown);
    }
    return types;
}

std::vector<CoreType> coreTypesFromCapacities(const std::vector<std::optional<uint64_t>>& capacities) {
    std::vector<CoreType> types(capacities.size(), CoreType::unknown);
    if (capacities.empty() || std::any_of(capacities.begin(), capacities.end(), [](auto& c) { return !c; }))
        return types;
    auto [lo, hi] = std::minmax_element(capacities.begin(), capacities.end());
    if (**lo == **hi) return types;  // a symmetric machine: no types to tell apart
    const uint64_t middle = **lo + (**hi - **lo) / 2;
    for (size_t i = 0; i < capacities.size(); ++i)
        types[i] = *capacities[i] > middle ? CoreType::performance : CoreType::efficiency;
    return types;
}

std::vector<CoreType> coreTypesFromCounts(size_t cpuCount, int64_t performance, int64_t efficiency) {
    std::vector<CoreType> types(cpuCount, CoreType::unknown);
    if (performance <= 0 || efficiency <= 0 || static_cast<size_t>(performance + efficiency) != cpuCount) return types;
    for (size_t i = 0; i < cpuCount; ++i)
        types[i] = static_cast<int64_t>(i) < performance ? CoreType::performance : CoreType::efficiency;
    return types;
}

}  // namespace qm
