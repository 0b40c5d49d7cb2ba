// The five looks of the menu-bar label, stored under "menuBar.style" as their raw
// values and offered in settings in this order.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace qm {

class Defaults;

enum class MenuBarStyle { icon, cpu, cpuMemory, temperature, power };
constexpr std::array<MenuBarStyle, 5> allMenuBarStyles{MenuBarStyle::icon, MenuBarStyle::cpu, MenuBarStyle::cpuMemory,
                                                       MenuBarStyle::temperature, MenuBarStyle::power};

std::string_view rawValue(MenuBarStyle style);                          // "icon", "cpu", "cpuMemory", ...
std::optional<MenuBarStyle> menuBarStyleFromRaw(std::string_view raw);  // exact case only
std::string title(MenuBarStyle style);                                  // "Icon only", "CPU", "CPU + Memory", ...

// The style the user chose; an unset or unknown value shows the CPU figure, the
// smallest label that still says something.
MenuBarStyle menuBarStyle(const Defaults& defaults);

}  // namespace qm
