#include "shell/StatusBarOutput.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

#include "core/JsonText.h"
#include "fmt/PlatformWording.h"

namespace qm {

namespace {
constexpr double kCriticalCPU = 90;
constexpr double kWarningCPU = 70;
}  // namespace

std::string statusBarLevel(const Snapshot& snapshot) {
    const double cpu = snapshot.cpu.total;
    const ThermalState heat = snapshot.thermal.state;
    const PressureLevel pressure = snapshot.memory.pressureLevel;
    if (heat >= ThermalState::serious || pressure == PressureLevel::critical || cpu >= kCriticalCPU) return "critical";
    if (heat == ThermalState::fair || pressure == PressureLevel::warning || cpu >= kWarningCPU) return "warning";
    return "normal";
}

StatusBarReading statusBarReading(const Snapshot& snapshot, MenuBarStyle style) {
    StatusBarReading reading;
    reading.label = menuBarLabel(snapshot, style);
    reading.style = std::string(rawValue(style));
    reading.level = statusBarLevel(snapshot);
    const double cpu = std::isfinite(snapshot.cpu.total) ? snapshot.cpu.total : 0;
    reading.percentage = static_cast<int>(std::lround(std::clamp(cpu, 0.0, 100.0)));
    return reading;
}

std::string statusBarText(const MenuBarLabel& label) {
    if (label.lines.empty()) return "\u25C9";  // the glyph: a ring with a dot
    std::string text;
    for (const std::string& line : label.lines) text += (text.empty() ? "" : " ") + line;
    return text;
}

std::string plainStatusBarOutput(const StatusBarReading& reading) { return statusBarText(reading.label) + "\n"; }

std::string waybarOutput(const StatusBarReading& reading) {
    nlohmann::json out{
        {"text", statusBarText(reading.label)},
        {"alt", reading.style},
        {"tooltip", forThisPlatform(reading.label.tooltip)},
        {"class", reading.level},
        {"percentage", reading.percentage},
    };
    return jsonText(out) + "\n";
}

}  // namespace qm
