// The memory breakdown (apps, wired, compressed, cached, free) over the Monitor's last
// ticks, one series per part. The program keeps one from launch, so the memory
// section's stacked chart has the same history as the Monitor's own charts however
// late it is first opened.
#pragma once

#include <vector>

#include "engine/Monitor.h"

namespace qm::app {

class MemoryPartsSeries {
public:
    explicit MemoryPartsSeries(Monitor& monitor);
    ~MemoryPartsSeries();
    MemoryPartsSeries(const MemoryPartsSeries&) = delete;
    MemoryPartsSeries& operator=(const MemoryPartsSeries&) = delete;

    // Bytes per part, oldest first, at most the Monitor's number of points.
    const std::vector<std::vector<double>>& series() const { return series_; }

private:
    void record(const Snapshot& snapshot);

    Monitor& monitor_;
    int token_ = 0;
    std::vector<std::vector<double>> series_;
};

}  // namespace qm::app
