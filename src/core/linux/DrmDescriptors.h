// The DRM clients (open GPU files) of Linux processes, found without looking through
// every descriptor of every process on every tick. What an unprivileged user can see
// is its own processes' descriptors: other users' /proc/PID/fd stays closed to it
// (root sees all), so their clients are simply not counted.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/DrmClientUsage.h"

namespace qm {

class DrmDescriptorCache {
public:
    // A process's descriptors are looked through again after about this many seconds
    // (a program that starts drawing on the GPU later opens the device then).
    static constexpr double rescanPeriod = 60;

    explicit DrmDescriptorCache(const std::string& procDirectory);  // "<root>/proc"
    ~DrmDescriptorCache();
    DrmDescriptorCache(const DrmDescriptorCache&) = delete;
    DrmDescriptorCache& operator=(const DrmDescriptorCache&) = delete;

    // The clients `pid` holds now. Its descriptors are looked through the first time it
    // is asked for, about once a minute after that, and on the next call after one of
    // its known descriptors stopped reading as a DRM client; in between only the known
    // descriptors' fdinfo is read. `now` is monotonic seconds; a different `startTime`
    // (when the caller knows it) is another process that reuses the pid.
    std::vector<DrmClient> clients(int32_t pid, double now, uint64_t startTime = 0);
    // Forgets the processes not asked for since the previous call (they have exited).
    void endRound();

private:
    struct Entry {
        std::vector<int> descriptors;
        double dueAt = 0;
        uint64_t startTime = 0;
        bool asked = false;
    };
    void scan(int32_t pid, Entry& entry, double now);

    int procFd_ = -1;  // /proc, so that no path is walked from the root each time
    std::unordered_map<int32_t, Entry> entries_;
};

}  // namespace qm
