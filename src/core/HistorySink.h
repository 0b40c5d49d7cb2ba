// What the sampler needs of the history store: fire-and-forget writes, in order.
#pragma once

#include <vector>

#include "core/HistoryRecords.h"
#include "core/Snapshot.h"

namespace qm {

class HistorySink {
public:
    virtual ~HistorySink() = default;
    virtual void write(const SystemMinute& minute, const std::vector<AppMinute>& apps) = 0;
    virtual void write(const TimelineEvent& event) = 0;
    virtual void prune() = 0;
};

// Turns each snapshot into zero or more new events (the event detector).
class SnapshotDetector {
public:
    virtual ~SnapshotDetector() = default;
    virtual std::vector<TimelineEvent> process(const Snapshot& snapshot) = 0;
};

}  // namespace qm
