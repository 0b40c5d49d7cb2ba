#include "engine/MinuteAccumulator.h"

#include <algorithm>

namespace qm {

namespace {

// A snapshot after a sleep counts at most 30 seconds; a burst of fast ticks at least half a second.
double clampedInterval(double interval) { return std::clamp(interval, 0.5, 30.0); }

// Apps that barely register are not tallied at all.
bool noticeable(const AppGroup& group) {
    return group.cpu > 0.05 || (group.power && *group.power > 0.001) || group.memory > 200'000'000;
}

}  // namespace

void MinuteAccumulator::add(const Snapshot& s) {
    count += 1;
    const double dt = clampedInterval(s.interval);
    seconds += dt;

    cpu += s.cpu.total;
    memUsed += static_cast<double>(s.memory.used());
    memTotal = static_cast<double>(s.memory.total);
    pressure += s.memory.pressure;
    plevel = std::max(plevel, kernelCode(s.memory.pressureLevel));
    swap = std::max(swap, static_cast<double>(s.memory.swapUsed));

    if (s.gpu) gpu += *s.gpu, gpuN += 1;
    if (s.systemPower) power += *s.systemPower, powerN += 1;
    if (s.thermal.socTemp) temp += *s.thermal.socTemp, tempN += 1;

    rx += s.network.rxRate;
    tx += s.network.txRate;
    dr += s.disk.readRate;
    dw += s.disk.writeRate;

    if (s.battery.present) {
        battery = s.battery.percent;
        onBattery = onBattery || !s.battery.onAC;
    }
    thermal = std::max<int64_t>(thermal, static_cast<int64_t>(s.thermal.state));

    for (const auto& group : s.groups) {
        if (!noticeable(group)) continue;
        auto [it, inserted] = apps.try_emplace(group.id);
        AppTally& tally = it->second;
        if (inserted) tally.name = group.name;
        tally.cpu += group.cpu;
        tally.n += 1;
        tally.mem = std::max(tally.mem, static_cast<double>(group.memory));
        tally.energy += dt * group.power.value_or(0.0);
        tally.diskW += dt * group.diskWriteRate;
    }
}

std::pair<SystemMinute, std::vector<AppMinute>> MinuteAccumulator::build(int64_t ts) const {
    const double n = count <= 1 ? 1.0 : static_cast<double>(count);

    SystemMinute m;
    m.ts = ts;
    m.cpu = cpu / n;
    m.memUsed = memUsed / n;
    m.memTotal = memTotal;
    m.pressure = pressure / n;
    m.pressureLevel = plevel;
    m.swap = swap;
    if (gpuN > 0) m.gpu = gpu / static_cast<double>(gpuN);
    if (powerN > 0) m.power = power / static_cast<double>(powerN);
    if (tempN > 0) m.socTemp = temp / static_cast<double>(tempN);
    m.netRx = rx / n;
    m.netTx = tx / n;
    m.diskRead = dr / n;
    m.diskWrite = dw / n;
    m.battery = battery;
    m.onBattery = onBattery;
    m.thermal = thermal;

    std::vector<const std::pair<const std::string, AppTally>*> ranked;
    ranked.reserve(apps.size());
    for (const auto& entry : apps) ranked.push_back(&entry);
    auto score = [](const AppTally& t) {
        return t.cpu / static_cast<double>(std::max<int64_t>(t.n, 1)) + 4 * t.energy;
    };

    std::sort(ranked.begin(), ranked.end(), [&](auto* a, auto* b) { return score(a->second) > score(b->second); });
    std::vector<const std::pair<const std::string, AppTally>*> kept(
        ranked.begin(), ranked.begin() + static_cast<std::ptrdiff_t>(std::min(kTopByActivity, ranked.size())));

    std::sort(ranked.begin(), ranked.end(), [](auto* a, auto* b) { return a->second.mem > b->second.mem; });
    for (size_t i = 0; i < std::min(kTopByMemory, ranked.size()); ++i)
        if (std::find(kept.begin(), kept.end(), ranked[i]) == kept.end()) kept.push_back(ranked[i]);

    std::vector<AppMinute> rows;
    rows.reserve(kept.size());
    for (auto* entry : kept) {
        const AppTally& t = entry->second;
        // Divided by the minute's snapshot count, not the app's own: an app seen in
        // half the minute averages half its CPU over the minute.
        rows.push_back(
            AppMinute{ts, entry->first, t.name, t.cpu / n, t.mem, t.energy, t.diskW / std::max(seconds, 1.0)});
    }
    return {m, rows};
}

}  // namespace qm
