// What the quick look shows besides the status line: the figures with their series'
// scales, the busiest apps and the last events, as plain rows the window only lays out.
#pragma once

#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

struct QuickLookRow {
    std::string title;  // "CPU", an app's name, an event's title
    std::string value;  // "37%", "2.1 GB", "3:04 PM"
    std::string key;    // an app's group key, for opening it
    int level = 0;      // events: severity as 0 fine, 1 attention, 2 alert
    bool operator==(const QuickLookRow&) const = default;
};

struct QuickLookModel {
    static constexpr size_t busiestCount = 5;
    static constexpr size_t eventCount = 3;

    // "CPU" total, "Memory" used of installed, "Power" draw (or "—").
    static std::vector<QuickLookRow> figures(const Snapshot& snapshot);
    // The busiest groups by CPU, highest first, earlier first on ties; the kernel's own
    // group is left out like everywhere an app is blamed.
    static std::vector<QuickLookRow> busiest(const Snapshot& snapshot, size_t count = busiestCount);
    // The newest events first, with their time of day.
    static std::vector<QuickLookRow> lastEvents(const std::vector<TimelineEvent>& newestFirst,
                                                size_t count = eventCount);
};

}  // namespace qm
