// What the menu-bar item shows for one snapshot: up to two short lines of figures,
// whether the glyph takes its alert form, and the tooltip. Drawing is the
// platform's business; this is the part every platform shares.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"
#include "shell/MenuBarStyle.h"

namespace qm {

struct MenuBarLabel {
    std::vector<std::string> lines;  // none for the icon style, two for CPU + Memory
    bool alert = false;
    std::string tooltip;

    // The image depends on the lines and the alert form only; the tooltip is set
    // with it but never causes a redraw on its own.
    bool drawsLike(const MenuBarLabel& other) const { return lines == other.lines && alert == other.alert; }
    bool operator==(const MenuBarLabel&) const = default;
};

// Used memory (app, wired, compressed) as a share of all memory; 0 without a total.
double memoryShare(const MemoryStats& memory);

// The machine's power draw: the system reading when there is one, otherwise the sum
// over the groups that report power; absent when none does.
std::optional<double> menuBarPower(const Snapshot& snapshot);

// Running hot (serious or critical) or short of memory (critical pressure).
bool menuBarAlert(const Snapshot& snapshot);

MenuBarLabel menuBarLabel(const Snapshot& snapshot, MenuBarStyle style);

// A tray slot on a Linux panel is square: there is room for the figures only, so the
// two-line label drops its "CPU " and "MEM " words (the renderer colours the lines
// instead, and the tooltip still says everything).
std::vector<std::string> trayLines(const MenuBarLabel& label);

// Remembers what was last drawn so the label is re-rendered only when it changes.
class MenuBarLabelUpdater {
public:
    // The label to draw now, or nothing when the last drawn one still stands.
    std::optional<MenuBarLabel> update(const Snapshot& snapshot, MenuBarStyle style, bool force);

private:
    std::optional<MenuBarLabel> lastDrawn_;
};

}  // namespace qm
