#include "shell/MenuBarStyle.h"

#include "core/Defaults.h"

namespace qm {

std::string_view rawValue(MenuBarStyle style) {
    switch (style) {
        case MenuBarStyle::icon: return "icon";
        case MenuBarStyle::cpu: return "cpu";
        case MenuBarStyle::cpuMemory: return "cpuMemory";
        case MenuBarStyle::temperature: return "temperature";
        case MenuBarStyle::power: return "power";
    }
    return "cpu";
}

std::optional<MenuBarStyle> menuBarStyleFromRaw(std::string_view raw) {
    for (MenuBarStyle style : allMenuBarStyles)
        if (rawValue(style) == raw) return style;
    return std::nullopt;
}

std::string title(MenuBarStyle style) {
    // Menu bar display style
    switch (style) {
        case MenuBarStyle::icon: return "Icon only";
        case MenuBarStyle::cpu: return "CPU";  // the same in every language
        case MenuBarStyle::cpuMemory: return "CPU + Memory";
        case MenuBarStyle::temperature: return "Temperature";
        case MenuBarStyle::power: return "Power";
    }
    return "CPU";
}

MenuBarStyle menuBarStyle(const Defaults& defaults) {
    return menuBarStyleFromRaw(defaults.stringValue("menuBar.style")).value_or(MenuBarStyle::cpu);
}

}  // namespace qm
