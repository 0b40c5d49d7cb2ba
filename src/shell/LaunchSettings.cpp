#include "shell/LaunchSettings.h"

#include "shell/SettingRead.h"

namespace qm {

bool migrateMenuBarDefaults(Defaults& defaults) {
    if (defaults.boolValue("migration.menuBar.v2")) return false;
    defaults.set("menuBar.enabled", true);
    defaults.remove("NSStatusItem VisibleCC Item-0");
    defaults.remove("NSStatusItem Preferred Position Item-0");
    defaults.set("migration.menuBar.v2", true);
    return true;
}

ActivationPolicy dockPolicy(const Defaults& defaults) {
    return storedBool(defaults, "dock.visible").value_or(true) ? ActivationPolicy::regular
                                                               : ActivationPolicy::accessory;
}

bool menuBarEnabled(const Defaults& defaults) { return defaults.boolValue("menuBar.enabled"); }

bool menuBarBelongsOnScreen(const Defaults& defaults) {
    return menuBarEnabled(defaults) && defaults.boolValue("onboarded");
}

bool closeMainWindowAtLaunch(const Defaults& defaults) {
    return storedBool(defaults, "window.atLaunch") == false && defaults.boolValue("onboarded");
}

}  // namespace qm
