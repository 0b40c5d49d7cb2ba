// The menu-bar label for status bars that run a command (waybar, polybar, i3blocks):
// one plain line, or waybar's JSON with "text", "alt", "tooltip", "class" and
// "percentage".
#pragma once

#include <string>

#include "core/Snapshot.h"
#include "shell/MenuBarLabel.h"

namespace qm {

// How much a status bar should draw attention: "normal", "warning" or "critical".
// Critical: running hot (serious or worse), critical memory pressure, or the CPU at
// 90 % of the machine or more. Warning: warm, tight memory, or the CPU at 70 % or more.
std::string statusBarLevel(const Snapshot& snapshot);

// What a status bar shows for one snapshot.
struct StatusBarReading {
    MenuBarLabel label;
    std::string style;   // the style's raw value, waybar's "alt" (format-icons can key on it)
    std::string level;   // statusBarLevel
    int percentage = 0;  // the machine's CPU share, 0 to 100
};

StatusBarReading statusBarReading(const Snapshot& snapshot, MenuBarStyle style);

// The label on one line; the icon style prints its glyph (a text bar cannot draw
// the image), so the module never disappears.
std::string statusBarText(const MenuBarLabel& label);

// statusBarText and a newline: what polybar and i3blocks show.
std::string plainStatusBarOutput(const StatusBarReading& reading);

// One JSON object on one line, newline-terminated, never failing on odd bytes.
std::string waybarOutput(const StatusBarReading& reading);

}  // namespace qm
