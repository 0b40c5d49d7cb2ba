// The menu-bar label for status bars that run a command: plain text (the label
// lines, then the tooltip) or waybar's JSON with "text", "tooltip" and "class".
#pragma once

#include <string>

#include "shell/MenuBarLabel.h"

namespace qm {

// The label on one line; the glyph stands in for the icon style's image, which a
// text bar cannot draw, so the module never disappears.
std::string statusBarText(const MenuBarLabel& label);

// One line per label line, then the tooltip; each line ends with a newline.
std::string plainStatusBarOutput(const MenuBarLabel& label);

// One JSON object on one line; "class" is "alert" when the glyph would be in its
// alert form, otherwise "normal".
std::string waybarOutput(const MenuBarLabel& label);

}  // namespace qm
