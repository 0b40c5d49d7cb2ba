// What the sampler needs of the history store: fire-and-forget writes, in order.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/ClockTrust.h"
#include "core/HistoryRecords.h"
#include "core/Snapshot.h"

namespace qm {

// One stored minute with its app rows.
struct StoredMinute {
    SystemMinute minute;
    std::vector<AppMinute> apps;
};

class HistorySink {
public:
    virtual ~HistorySink() = default;
    virtual void write(const SystemMinute& minute, const std::vector<AppMinute>& apps) = 0;
    virtual void write(const TimelineEvent& event) = 0;
    // Drops rows past their retention, counted from `now`, a time the caller trusts.
    virtual void prune(int64_t now) = 0;

    // The minute stored at `ts`, if any (the caller waits): a recorder restarted
    // within a minute adds its samples to what the previous run stored of it.
    virtual std::optional<StoredMinute> storedMinute(int64_t /*ts*/) { return std::nullopt; }
    // The last clock reading the recorder trusted, kept beside the history so that a
    // restart measures the clock against it.
    virtual std::optional<ClockAnchor> rememberedClock() { return std::nullopt; }
    virtual void rememberClock(const ClockAnchor& /*anchor*/) {}
};

// Turns each snapshot into zero or more new events (the event detector).
class SnapshotDetector {
public:
    virtual ~SnapshotDetector() = default;
    virtual std::vector<TimelineEvent> process(const Snapshot& snapshot) = 0;
};

}  // namespace qm
