// What one scrape shows: the latest snapshot's machine figures, the busiest apps with
// everything else summed as "other", the events counted since the exporter started,
// and the exporter's own counters. Built on the thread that receives snapshots, then
// handed to the server as an immutable value, so a scrape never samples and never
// waits for the sampler.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace qm::metrics {

// One app's figures, or the sum of the apps left out ("other": no kind).
struct AppFigures {
    std::string key;  // the group id ("app:…", "proc:…"), or "other"
    std::string name;
    std::optional<ProcessKind> kind;
    double cpu = 0;  // percent of one core
    uint64_t memory = 0;
    std::optional<double> power;  // watts; absent when no app in it was measured
    double diskReadRate = 0;
    double diskWriteRate = 0;
};

// The key of the series that sums the apps left out. Group ids always carry a
// prefix ("app:", "proc:"), so no app can take it.
inline constexpr const char* otherAppsKey = "other";

// Events counted by kind and severity (0 information, 1 warning, 2 serious).
using EventCounts = std::array<std::array<uint64_t, 3>, allEventKinds.size()>;

struct MetricsFrame {
    // Absent until the first snapshot: only the counters and the version are shown then.
    std::optional<Snapshot> machine;  // its groups are left empty
    std::vector<AppFigures> apps;     // the chosen apps, then "other"
    size_t appCount = 0;              // groups in the snapshot
    EventCounts events{};
    // Bytes read and written by the disks since the exporter started, from each
    // tick's rates over its interval (the kernel's counters are not in a snapshot).
    double diskReadBytes = 0;
    double diskWrittenBytes = 0;
    std::string version;
};

// The apps a scrape shows: of `limit` places, three quarters go to the busiest by CPU
// and the rest to the biggest memory holders not already in (a quiet app holding
// gigabytes is worth a series too); every other group is summed into one "other"
// entry, so the apps shown and "other" add up to every group. `limit` 0 shows only
// "other".
std::vector<AppFigures> chooseApps(const std::vector<AppGroup>& groups, size_t limit);

// Keeps what outlives one snapshot (event and disk counters) and makes frames.
class FrameBuilder {
public:
    explicit FrameBuilder(std::string version) { frame_.version = std::move(version); }

    void setAppLimit(size_t limit) { appLimit_ = limit; }
    size_t appLimit() const { return appLimit_; }

    // Folds in one tick and returns the frame to publish.
    std::shared_ptr<const MetricsFrame> add(const Snapshot& snapshot);
    // Counts events and returns the frame to publish.
    std::shared_ptr<const MetricsFrame> count(const std::vector<TimelineEvent>& events);
    // The frame as it stands (before any snapshot: counters and version only).
    std::shared_ptr<const MetricsFrame> current() const { return std::make_shared<const MetricsFrame>(frame_); }

    static constexpr size_t defaultAppLimit = 20;

private:
    MetricsFrame frame_;
    size_t appLimit_ = defaultAppLimit;
};

}  // namespace qm::metrics
