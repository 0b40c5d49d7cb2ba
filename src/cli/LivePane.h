// The terminal view's explanation pane for the selected row: the library's entry
// (what it is, why it can be busy, what to do, whether it is safe to quit), who made
// it, its command line, and its CPU and memory over the last three minutes, which the
// view keeps for every row as the ticks arrive.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <unordered_map>

#include "cli/LiveLayout.h"
#include "cli/LiveRows.h"
#include "core/Snapshot.h"

namespace qm {
class ProcessLibrary;
}

namespace qm::cli::live {

// CPU and memory of every group and process over the last three minutes.
class RecentFigures {
public:
    static constexpr double span = 180;  // seconds

    void add(const Snapshot& snapshot);
    // Oldest first; empty for an id not seen.
    std::vector<double> cpu(const std::string& id) const;
    std::vector<double> memory(const std::string& id) const;

private:
    struct Point {
        Date date = 0;
        double cpu = 0;
        double memory = 0;
    };
    void keep(const std::string& id, Date date, double cpu, double memory);
    std::unordered_map<std::string, std::deque<Point>> series_;
    Date latest_ = 0;
};

// The pane for `row`; `madeBy` is the provenance sentence ("" while it is being
// looked up) and `command` the process's command line.
Pane paneFor(const Row& row, const std::vector<AppGroup>& groups, const ProcessLibrary& library,
             const std::string& madeBy, const std::string& command, const RecentFigures& recent);

}  // namespace qm::cli::live
