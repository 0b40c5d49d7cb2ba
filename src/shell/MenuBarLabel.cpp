#include "shell/MenuBarLabel.h"

#include "fmt/Fmt.h"
#include "knowledge/Localized.h"
#include "knowledge/TextCase.h"

namespace qm {

double memoryShare(const MemoryStats& memory) {
    if (memory.total == 0) return 0;
    return static_cast<double>(memory.app + memory.wired + memory.compressed) / static_cast<double>(memory.total) *
           100.0;
}

std::optional<double> menuBarPower(const Snapshot& snapshot) {
    if (snapshot.systemPower) return snapshot.systemPower;
    std::optional<double> sum;
    for (const AppGroup& group : snapshot.groups)
        if (group.power) sum = sum.value_or(0) + *group.power;
    return sum;
}

bool menuBarAlert(const Snapshot& snapshot) {
    return snapshot.thermal.state > ThermalState::fair || snapshot.memory.pressureLevel == PressureLevel::critical;
}

namespace {

std::vector<std::string> linesFor(const Snapshot& s, MenuBarStyle style) {
    switch (style) {
        case MenuBarStyle::icon: return {};
        case MenuBarStyle::cpu: return {Fmt::percent(s.cpu.total)};
        case MenuBarStyle::cpuMemory:
            return {
                // Tiny two-line menu bar label. %@ = CPU percent
                fill("CPU %@", {Fmt::percent(s.cpu.total)}),
                // Tiny two-line menu bar label, keep the abbreviation about 3 characters. %@ = memory percent
                fill("MEM %@", {Fmt::percent(memoryShare(s.memory))}),
            };
        case MenuBarStyle::temperature: return {Fmt::temp(s.thermal.socTemp)};
        case MenuBarStyle::power: return {Fmt::watts(menuBarPower(s))};
    }
    return {};
}

}  // namespace

MenuBarLabel menuBarLabel(const Snapshot& snapshot, MenuBarStyle style) {
    MenuBarLabel label;
    label.lines = linesFor(snapshot, style);
    label.alert = menuBarAlert(snapshot);
    // Menu bar icon tooltip. %1$@ = CPU percent, %2$@ = memory pressure level (Normal, Elevated, High), lowercased
    label.tooltip = fill("Quillmere: CPU %1$@, memory %2$@",
                         {Fmt::percent(snapshot.cpu.total), lowercased(qm::label(snapshot.memory.pressureLevel))});
    return label;
}

std::vector<std::string> trayLines(const MenuBarLabel& label) {
    std::vector<std::string> lines = label.lines;
    if (lines.size() < 2) return lines;
    for (std::string& line : lines)
        if (auto space = line.find(' '); space != std::string::npos) line.erase(0, space + 1);
    return lines;
}

std::optional<MenuBarLabel> MenuBarLabelUpdater::update(const Snapshot& snapshot, MenuBarStyle style, bool force) {
    MenuBarLabel label = menuBarLabel(snapshot, style);
    if (!force && lastDrawn_ && lastDrawn_->drawsLike(label)) return std::nullopt;
    lastDrawn_ = label;
    return label;
}

}  // namespace qm
