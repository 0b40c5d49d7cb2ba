#include "app/sections/MemoryPartsSeries.h"

#include "shell/MachineSections.h"

namespace qm::app {

MemoryPartsSeries::MemoryPartsSeries(Monitor& monitor) : monitor_(monitor) {
    token_ = monitor_.observe([this] { record(monitor_.snapshot()); });
    if (monitor_.hasData()) record(monitor_.snapshot());
}

MemoryPartsSeries::~MemoryPartsSeries() { monitor_.removeObserver(token_); }

void MemoryPartsSeries::record(const Snapshot& snapshot) {
    if (snapshot.memory.total == 0) return;
    const auto parts = sections::memoryParts(snapshot.memory);
    series_.resize(parts.size());
    for (size_t i = 0; i < parts.size(); ++i) {
        auto& series = series_[i];
        series.push_back(static_cast<double>(parts[i].bytes));
        if (series.size() > Monitor::maxPoints) series.erase(series.begin());
    }
}

}  // namespace qm::app
