// The single observable model every screen reads: the latest snapshot, short rolling
// series for the charts, per-app CPU series for sparklines, the recent events, and the
// energy each app has drawn since the machine was last unplugged. It also holds the
// demand set through which visible surfaces switch the sampler to live mode.
// Main queue only; observers are plain callbacks.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/HistoryRecords.h"
#include "core/Queue.h"
#include "core/Snapshot.h"
#include "engine/Sampler.h"

namespace qm {

class HistoryStore;

class Monitor {
public:
    using AppEnergy = qm::AppEnergy;

    // `main` serves the main thread; `history` may be null (nothing loaded at start).
    Monitor(SerialQueue& main, std::unique_ptr<Sampler> sampler, HistoryStore* history);
    ~Monitor();

    // Installs the sampler's callbacks, starts it, and loads the last day's events and
    // the last unplug time from the history.
    void start();
    // A program that does not record (another one holds the history) learns of events
    // from the history the recorder writes: while a window or the quick look shows,
    // every snapshot also reads the last day's events, so a new one appears within one
    // refresh.
    void followHistoryEvents(bool follow) { followHistoryEvents_ = follow; }

    // Folds one snapshot in (main queue). Public so tests can drive it directly.
    void apply(const Snapshot& snapshot);
    // Adds newly detected events at the front, newest first, keeping the 50 newest.
    void receive(const std::vector<TimelineEvent>& events);

    // Visible surfaces: "popover", "onboarding", one identifier per window.
    void insertDemand(const std::string& surface);
    void removeDemand(const std::string& surface);
    const std::set<std::string>& demand() const { return demand_; }

    std::optional<AppGroup> group(const std::string& id) const;

    // Called after anything observable changed.
    int observe(std::function<void()> observer);
    void removeObserver(int token);

    // Called on the main queue with each batch of new events (the alert center).
    std::function<void(const std::vector<TimelineEvent>&)> onEvents;

    static constexpr size_t maxPoints = 180;
    static constexpr size_t maxAppPoints = 90;
    static constexpr size_t maxRecentEvents = 50;

    const Snapshot& snapshot() const { return snapshot_; }
    bool hasData() const { return hasData_; }
    const std::vector<TimelineEvent>& recentEvents() const { return recentEvents_; }
    const std::vector<double>& cpuSeries() const { return cpuSeries_; }
    const std::vector<double>& memorySeries() const { return memorySeries_; }
    const std::vector<double>& powerSeries() const { return powerSeries_; }
    const std::vector<double>& gpuSeries() const { return gpuSeries_; }
    const std::vector<double>& tempSeries() const { return tempSeries_; }
    const std::vector<double>& rxSeries() const { return rxSeries_; }
    const std::vector<double>& txSeries() const { return txSeries_; }
    const std::vector<double>& diskReadSeries() const { return diskReadSeries_; }
    const std::vector<double>& diskWriteSeries() const { return diskWriteSeries_; }
    const std::vector<std::vector<double>>& perCoreSeries() const { return perCoreSeries_; }
    const std::unordered_map<std::string, std::vector<double>>& appSeries() const { return appSeries_; }
    // Memory bytes per app, kept and pruned exactly like appSeries().
    const std::unordered_map<std::string, std::vector<double>>& appMemorySeries() const { return appMemorySeries_; }
    int64_t appSeriesVersion() const { return appSeriesVersion_; }
    const std::unordered_map<std::string, AppEnergy>& batterySessionEnergy() const { return batterySessionEnergy_; }
    std::optional<Date> batterySessionStart() const { return batterySessionStart_; }
    Sampler& sampler() { return *sampler_; }

private:
    void notify();
    void mergeHistoryEvents(const std::vector<TimelineEvent>& events);
    void readHistoryEvents();
    void updateBatterySession(const Snapshot& previous, const Snapshot& current);

    SerialQueue& main_;
    std::unique_ptr<Sampler> sampler_;
    HistoryStore* history_;
    bool followHistoryEvents_ = false;
    bool historyEventsPending_ = false;  // one read at a time
    // Callbacks hop to the main queue holding this flag, not the monitor itself.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);

    Snapshot snapshot_ = Snapshot::empty();
    bool hasData_ = false;
    std::vector<TimelineEvent> recentEvents_;
    std::vector<double> cpuSeries_, memorySeries_, powerSeries_, gpuSeries_, tempSeries_, rxSeries_, txSeries_,
        diskReadSeries_, diskWriteSeries_;
    std::vector<std::vector<double>> perCoreSeries_;
    std::unordered_map<std::string, std::vector<double>> appSeries_;
    std::unordered_map<std::string, std::vector<double>> appMemorySeries_;
    int64_t appSeriesVersion_ = 0;
    std::unordered_map<std::string, AppEnergy> batterySessionEnergy_;
    std::optional<Date> batterySessionStart_;
    std::set<std::string> demand_;
    std::vector<std::pair<int, std::function<void()>>> observers_;
    int nextToken_ = 1;
};

}  // namespace qm
