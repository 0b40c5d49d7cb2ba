// Puts every process sample of a tick into the group of the app that owns it, and
// sums the group's figures. Keys are computed once per process lifetime.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "core/Snapshot.h"
#include "processes/ProcessTypes.h"

namespace qm {

using SamplesByPID = std::unordered_map<int32_t, const ProcessSample*>;

// The platform's rule for which group a process belongs to (app bundles on macOS,
// cgroup app scopes and desktop files on Linux). Called once per process lifetime.
class KeyResolver {
public:
    virtual ~KeyResolver() = default;
    virtual GroupKey computeKey(const ProcessSample& sample, const SamplesByPID& byPID, uint64_t startTime) = 0;
};

class AppGrouper {
public:
    explicit AppGrouper(std::unique_ptr<KeyResolver> resolver);

    // `startTimeOf` gives a pid's start time this tick (0 when unknown). A key is kept
    // while the start time and the process's name stay the same.
    std::vector<AppGroup> group(const std::vector<ProcessSample>& samples,
                                const std::function<uint64_t(int32_t)>& startTimeOf);

    KeyResolver& resolver() { return *resolver_; }

private:
    std::unique_ptr<KeyResolver> resolver_;
    std::unordered_map<int32_t, GroupKey> groupKeys_;
};

// Adds one sample's figures to its group: sums, and power only from samples that have it.
void addToGroup(AppGroup& group, const ProcessSample& sample);

}  // namespace qm
