// Collects the snapshots of one wall-clock minute and, when the minute closes, turns
// them into one SystemMinute and the few AppMinute rows worth keeping.
#pragma once

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/HistoryRecords.h"
#include "core/Snapshot.h"

namespace qm {

struct MinuteAccumulator {
    struct AppTally {
        std::string name;
        double cpu = 0;  // sum of percent
        int64_t n = 0;   // snapshots in which the app counted
        double mem = 0;  // highest memory, bytes
        double energy = 0;
        double diskW = 0;  // bytes written
    };

    int64_t count = 0;
    double seconds = 0;
    double cpu = 0;
    double memUsed = 0;
    double memTotal = 0;
    double pressure = 0;
    int64_t plevel = 1;
    double swap = 0;
    double gpu = 0;
    int64_t gpuN = 0;
    double power = 0;
    int64_t powerN = 0;
    double temp = 0;
    int64_t tempN = 0;
    double rx = 0, tx = 0;
    double dr = 0, dw = 0;
    std::optional<double> battery;
    bool onBattery = false;
    int64_t thermal = 0;
    std::unordered_map<std::string, AppTally> apps;

    // At most this many apps by activity, plus this many memory holders not among them.
    static constexpr size_t kTopByActivity = 10;
    static constexpr size_t kTopByMemory = 3;

    void add(const Snapshot& snapshot);
    std::pair<SystemMinute, std::vector<AppMinute>> build(int64_t ts) const;
};

}  // namespace qm
