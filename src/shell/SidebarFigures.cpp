#include "shell/SidebarFigures.h"

#include <algorithm>

#include "fmt/Fmt.h"

namespace qm {

namespace {
std::optional<double> hottest(const ThermalStats& thermal) {
    if (!thermal.hasSensors) return std::nullopt;
    std::optional<double> top = thermal.socTemp;
    for (const SensorReading& reading : thermal.sensors)
        if (!top || reading.value > *top) top = reading.value;
    return top;
}
}  // namespace

std::optional<std::string> sidebarFigure(Section section, const Snapshot& snapshot) {
    switch (section) {
        case Section::overview: return "CPU " + Fmt::percent(snapshot.cpu.total);
        case Section::apps: return Fmt::number(static_cast<double>(snapshot.processCount), 0) + " processes";
        case Section::memory:
            if (snapshot.memory.total == 0) return std::nullopt;
            return Fmt::bytes(static_cast<double>(snapshot.memory.used())) + " used";
        case Section::energy:
            if (!snapshot.systemPower) return std::nullopt;
            return Fmt::watts(snapshot.systemPower);
        case Section::sensors: {
            auto top = hottest(snapshot.thermal);
            if (!top) return std::nullopt;
            return Fmt::temp(top);
        }
        case Section::network:
            return "↓ " + Fmt::rate(snapshot.network.rxRate) + " ↑ " + Fmt::rate(snapshot.network.txRate);
        case Section::timeline: return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace qm
