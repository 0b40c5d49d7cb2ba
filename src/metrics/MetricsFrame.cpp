#include "metrics/MetricsFrame.h"

#include <algorithm>
#include <cmath>

namespace qm::metrics {

namespace {

AppFigures figuresOf(const AppGroup& group) {
    return {group.id,     group.name,  group.kind,         group.cpu,
            group.memory, group.power, group.diskReadRate, group.diskWriteRate};
}

// The machine's figures without the process list, which is most of a snapshot's size
// at a few thousand processes and which a frame only needs summed.
Snapshot withoutGroups(const Snapshot& s) {
    Snapshot machine;
    machine.date = s.date;
    machine.interval = s.interval;
    machine.cpu = s.cpu;
    machine.memory = s.memory;
    machine.gpu = s.gpu;
    machine.systemPower = s.systemPower;
    machine.systemPowerScope = s.systemPowerScope;
    machine.network = s.network;
    machine.disk = s.disk;
    machine.battery = s.battery;
    machine.thermal = s.thermal;
    machine.processCount = s.processCount;
    machine.restrictedVisible = s.restrictedVisible;
    machine.helperActive = s.helperActive;
    machine.selfCost = s.selfCost;
    machine.uptime = s.uptime;
    return machine;
}

}  // namespace

std::vector<AppFigures> chooseApps(const std::vector<AppGroup>& groups, size_t limit) {
    std::vector<const AppGroup*> order;
    order.reserve(groups.size());
    for (const AppGroup& group : groups) order.push_back(&group);
    std::vector<bool> chosen(groups.size(), false);
    auto indexOf = [&](const AppGroup* group) { return static_cast<size_t>(group - groups.data()); };

    const size_t memorySlots = limit / 4;
    const size_t cpuSlots = std::min(limit - memorySlots, order.size());
    auto busier = [](const AppGroup* a, const AppGroup* b) {
        return a->cpu != b->cpu ? a->cpu > b->cpu : a->memory > b->memory;
    };
    std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(cpuSlots), order.end(), busier);
    std::vector<AppFigures> apps;
    for (size_t i = 0; i < cpuSlots; ++i) {
        chosen[indexOf(order[i])] = true;
        apps.push_back(figuresOf(*order[i]));
    }
    // The memory holders among the rest; when there are few groups they fill the places left.
    const size_t rest = order.size() - cpuSlots;
    const size_t memoryPlaces = std::min(limit - cpuSlots, rest);
    auto bigger = [](const AppGroup* a, const AppGroup* b) { return a->memory > b->memory; };
    auto restBegin = order.begin() + static_cast<std::ptrdiff_t>(cpuSlots);
    std::partial_sort(restBegin, restBegin + static_cast<std::ptrdiff_t>(memoryPlaces), order.end(), bigger);
    for (size_t i = 0; i < memoryPlaces; ++i) {
        const AppGroup* group = order[cpuSlots + i];
        chosen[indexOf(group)] = true;
        apps.push_back(figuresOf(*group));
    }

    AppFigures other;
    other.key = otherAppsKey;
    other.name = "Other apps";
    for (size_t i = 0; i < groups.size(); ++i) {
        if (chosen[i]) continue;
        const AppGroup& group = groups[i];
        other.cpu += group.cpu;
        other.memory += group.memory;
        if (group.power) other.power = other.power.value_or(0) + *group.power;
        other.diskReadRate += group.diskReadRate;
        other.diskWriteRate += group.diskWriteRate;
    }
    apps.push_back(std::move(other));
    return apps;
}

std::shared_ptr<const MetricsFrame> FrameBuilder::add(const Snapshot& snapshot) {
    frame_.machine = withoutGroups(snapshot);
    frame_.apps = chooseApps(snapshot.groups, appLimit_);
    frame_.appCount = snapshot.groups.size();
    auto bytesOver = [&](double rate) {
        return std::isfinite(rate) && rate > 0 && std::isfinite(snapshot.interval) && snapshot.interval > 0
                   ? rate * snapshot.interval
                   : 0.0;
    };
    frame_.diskReadBytes += bytesOver(snapshot.disk.readRate);
    frame_.diskWrittenBytes += bytesOver(snapshot.disk.writeRate);
    return current();
}

std::shared_ptr<const MetricsFrame> FrameBuilder::count(const std::vector<TimelineEvent>& events) {
    for (const TimelineEvent& event : events) {
        const auto kind = static_cast<size_t>(event.kind);
        const auto severity = static_cast<size_t>(std::clamp<int64_t>(event.severity, 0, 2));
        if (kind < frame_.events.size()) ++frame_.events[kind][severity];
    }
    return current();
}

}  // namespace qm::metrics
