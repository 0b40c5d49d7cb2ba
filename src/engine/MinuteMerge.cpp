#include "engine/MinuteMerge.h"

#include <algorithm>
#include <unordered_map>

namespace qm {

namespace {

struct Weights {
    double earlier;
    double later;
    double mix(double a, double b) const { return (a * earlier + b * later) / (earlier + later); }
    std::optional<double> mix(std::optional<double> a, std::optional<double> b) const {
        if (a && b) return mix(*a, *b);
        return a ? a : b;
    }
};

}  // namespace

StoredMinute mergeMinute(const StoredMinute& earlier, double earlierSeconds, const StoredMinute& later,
                         double laterSeconds) {
    const Weights w{std::max(earlierSeconds, 1.0), std::max(laterSeconds, 1.0)};
    const SystemMinute& a = earlier.minute;
    const SystemMinute& b = later.minute;
    StoredMinute out;
    SystemMinute& m = out.minute;
    m.ts = b.ts;
    m.cpu = w.mix(a.cpu, b.cpu);
    m.memUsed = w.mix(a.memUsed, b.memUsed);
    m.memTotal = std::max(a.memTotal, b.memTotal);
    m.pressure = w.mix(a.pressure, b.pressure);
    m.pressureLevel = std::max(a.pressureLevel, b.pressureLevel);
    m.swap = std::max(a.swap, b.swap);
    m.gpu = w.mix(a.gpu, b.gpu);
    m.power = w.mix(a.power, b.power);
    m.socTemp = w.mix(a.socTemp, b.socTemp);
    m.netRx = w.mix(a.netRx, b.netRx);
    m.netTx = w.mix(a.netTx, b.netTx);
    m.diskRead = w.mix(a.diskRead, b.diskRead);
    m.diskWrite = w.mix(a.diskWrite, b.diskWrite);
    m.battery = b.battery ? b.battery : a.battery;
    m.onBattery = a.onBattery || b.onBattery;
    m.thermal = std::max(a.thermal, b.thermal);

    // An app missing from one part was idle in it: it counts there as 0.
    std::unordered_map<std::string, const AppMinute*> before;
    for (const AppMinute& app : earlier.apps) before[app.key] = &app;
    const AppMinute idle{};
    for (const AppMinute& now : later.apps) {
        auto found = before.find(now.key);
        const AppMinute& then = found == before.end() ? idle : *found->second;
        out.apps.push_back({b.ts, now.key, now.name, w.mix(then.cpu, now.cpu), std::max(then.memory, now.memory),
                            then.energy + now.energy, w.mix(then.diskWrite, now.diskWrite)});
        if (found != before.end()) before.erase(found);
    }
    for (const AppMinute& then : earlier.apps) {
        if (!before.count(then.key)) continue;
        out.apps.push_back(
            {b.ts, then.key, then.name, w.mix(then.cpu, 0.0), then.memory, then.energy, w.mix(then.diskWrite, 0.0)});
    }
    return out;
}

}  // namespace qm
