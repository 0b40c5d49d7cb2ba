#include "processes/AppGrouping.h"

#include <algorithm>
#include <unordered_set>

namespace qm {

AppGrouper::AppGrouper(std::unique_ptr<KeyResolver> resolver) : resolver_(std::move(resolver)) {}

void addToGroup(AppGroup& group, const ProcessSample& sample) {
    group.cpu += sample.cpu;
    group.memory += sample.memory;
    if (sample.power) group.power = group.power.value_or(0) + *sample.power;
    group.diskReadRate += sample.diskReadRate;
    group.diskWriteRate += sample.diskWriteRate;
    // Shares of one GPU: the processes of a group together never use more than all of it.
    if (sample.gpu) group.gpu = std::min(100.0, group.gpu.value_or(0) + *sample.gpu);
    if (sample.gpuMemory) group.gpuMemory = group.gpuMemory.value_or(0) + *sample.gpuMemory;
    group.processes.push_back(sample);
}

std::vector<AppGroup> AppGrouper::group(const std::vector<ProcessSample>& samples,
                                        const std::function<uint64_t(int32_t)>& startTimeOf) {
    SamplesByPID byPID;
    byPID.reserve(samples.size());
    for (const auto& s : samples) byPID.emplace(s.pid, &s);

    std::vector<AppGroup> groups;
    std::unordered_map<std::string, size_t> indexByKey;
    for (const auto& sample : samples) {
        uint64_t startTime = startTimeOf(sample.pid);
        auto cached = groupKeys_.find(sample.pid);
        if (cached == groupKeys_.end() || cached->second.startTime != startTime ||
            cached->second.processName != sample.name) {
            GroupKey key = resolver_->computeKey(sample, byPID, startTime);
            key.startTime = startTime;
            key.processName = sample.name;
            cached = groupKeys_.insert_or_assign(sample.pid, std::move(key)).first;
        }
        const GroupKey& key = cached->second;
        auto [slot, isNew] = indexByKey.try_emplace(key.key, groups.size());
        if (isNew) {
            AppGroup g;
            g.id = key.key;
            g.name = key.name;
            g.kind = key.kind;
            g.bundlePath = key.bundlePath;
            g.bundleID = key.bundleID;
            groups.push_back(std::move(g));
        }
        addToGroup(groups[slot->second], sample);
    }

    // Keys of vanished pids would be harmless (start times are checked), but the map
    // should not grow for the life of the app.
    if (groupKeys_.size() > byPID.size())
        std::erase_if(groupKeys_, [&](const auto& entry) { return !byPID.contains(entry.first); });
    return groups;
}

}  // namespace qm
