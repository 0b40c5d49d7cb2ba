#include "shell/MachineSections.h"

#include <algorithm>
#include <cmath>

#include "fmt/Fmt.h"
#include "knowledge/StatusChips.h"

namespace qm::sections {

std::vector<MemoryPart> memoryParts(const MemoryStats& m) {
    const double total = static_cast<double>(m.total);
    auto part = [total](const char* label, uint64_t bytes) {
        return MemoryPart{label, bytes, total > 0 ? std::clamp(static_cast<double>(bytes) / total, 0.0, 1.0) : 0.0};
    };
    return {part("Apps", m.app), part("Wired", m.wired), part("Compressed", m.compressed), part("Cached", m.cached),
            part("Free", m.free)};
}

std::string memoryUsedLine(const MemoryStats& m) {
    return Fmt::bytes(static_cast<double>(m.used())) + " of " + Fmt::bytes(static_cast<double>(m.total)) + " used";
}

std::optional<std::string> memoryUsedNote() {
#ifdef __APPLE__
    return std::nullopt;
#else
    return "Used is apps, wired and compressed memory. The \u201cused\u201d of the free command is total "
           "minus available: it also counts cache and free memory the kernel keeps in reserve.";
#endif
}

std::string pressureLine(const MemoryStats& m) {
    return "Pressure " + Fmt::percent(m.pressure) + " \u00b7 " + label(m.pressureLevel);
}

std::string swapLine(const MemoryStats& m) {
    if (m.swapTotal == 0 && m.swapUsed == 0) return "No swap space configured";
    if (m.swapUsed == 0) return "No swap in use";
    std::string line = Fmt::bytes(static_cast<double>(m.swapUsed));
    if (m.swapTotal > 0) line += " of " + Fmt::bytes(static_cast<double>(m.swapTotal));
    return line + " swap used";
}

int64_t installedGB(uint64_t totalBytes) { return wholeGigabytes(totalBytes); }

// The group's raw value is already its title ("CPU", "Storage", ...).
std::string groupTitle(SensorReading::Group group) { return std::string(rawValue(group)); }

std::vector<SensorGroupView> sensorGroups(const ThermalStats& thermal) {
    std::vector<SensorGroupView> groups;
    for (auto group : SensorReading::allGroups) {
        SensorGroupView view{group, groupTitle(group), 0, {}};
        for (const SensorReading& r : thermal.sensors)
            if (r.group == group && std::isfinite(r.value)) view.readings.push_back(r);
        if (view.readings.empty()) continue;
        std::stable_sort(view.readings.begin(), view.readings.end(),
                         [](const SensorReading& a, const SensorReading& b) { return a.value > b.value; });
        view.maximum = view.readings.front().value;
        groups.push_back(std::move(view));
    }
    return groups;
}

std::string rpm(double value) {
    // Thousands are grouped: a fan speed reads like a count, not a measurement.
    auto whole = static_cast<int64_t>(std::llround(std::max(0.0, std::isfinite(value) ? value : 0.0)));
    std::string digits = std::to_string(whole), grouped;
    for (size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) grouped += ',';
        grouped += digits[i];
    }
    return grouped;
}

std::string fanLine(const FanReading& fan) {
    std::string line = "Fan " + std::to_string(fan.index + 1) + " \u00b7 " + rpm(fan.rpm) + " rpm";
    if (fan.min && fan.max)
        line += " (" + rpm(*fan.min) + "\u2013" + rpm(*fan.max) + ")";
    else if (fan.max)
        line += " (up to " + rpm(*fan.max) + ")";
    return line;
}

std::string networkTotalsLine(const NetworkStats& n, double uptime) {
    std::string line = "Received " + Fmt::bytes(static_cast<double>(n.rxTotal)) + ", sent " +
                       Fmt::bytes(static_cast<double>(n.txTotal));
    if (std::isfinite(uptime) && uptime >= 60)
        return line + " since the system started " + Fmt::duration(uptime) + " ago.";
    return line + " since the system started.";
}

std::string diskSpaceLine(const DiskStats& d) {
    if (d.totalSpace == 0) return Fmt::absent;
    return Fmt::bytes(static_cast<double>(d.freeSpace)) + " free of " + Fmt::bytes(static_cast<double>(d.totalSpace));
}

bool exactFiguresNoticeShown(const Snapshot& snapshot) {
    if (snapshot.helperActive) return false;
    for (const AppGroup& group : snapshot.groups)
        for (const ProcessSample& p : group.processes)
            if (p.isRestricted) return true;
    return false;
}

std::vector<const AppGroup*> topByMemory(const Snapshot& snapshot, size_t limit) {
    std::vector<const AppGroup*> groups;
    groups.reserve(snapshot.groups.size());
    for (const AppGroup& group : snapshot.groups) groups.push_back(&group);
    const size_t n = std::min(limit, groups.size());
    std::partial_sort(groups.begin(), groups.begin() + static_cast<std::ptrdiff_t>(n), groups.end(),
                      [](const AppGroup* a, const AppGroup* b) { return a->memory > b->memory; });
    groups.resize(n);
    return groups;
}

std::string momentFigures(const SystemMinute& row) {
    std::string text = "CPU " + Fmt::percent(row.cpu) + " \u00b7 Memory " + Fmt::bytes(row.memUsed);
    if (row.memTotal > 0) text += " of " + Fmt::bytes(row.memTotal);
    if (row.power) text += " \u00b7 Power " + Fmt::watts(row.power);
    if (row.socTemp) text += " \u00b7 " + Fmt::temp(row.socTemp);
    if (row.swap > 0) text += " \u00b7 Swap " + Fmt::bytes(row.swap);
    return text;
}

std::string momentApp(const AppMinute& app) {
    return app.name + " \u00b7 " + Fmt::percent(app.cpu) + " \u00b7 " + Fmt::bytes(app.memory);
}

std::string rangeCaption(Date from, Date to) { return Fmt::dayTime(from) + " \u2013 " + Fmt::dayTime(to); }

bool perAppEnergyEstimated() {
#ifdef __APPLE__
    return false;
#else
    return true;
#endif
}

bool powerEstimated(const AppGroup& group) {
#ifdef __APPLE__
    for (const ProcessSample& p : group.processes)
        if (p.approximate) return true;
    return false;
#else
    (void)group;
    return perAppEnergyEstimated();
#endif
}

}  // namespace qm::sections
