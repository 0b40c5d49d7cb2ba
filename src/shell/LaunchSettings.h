// The decisions the application makes from the user's settings at launch and while
// it runs: the one-time menu-bar migration, the Dock icon, whether the menu-bar item
// belongs on screen and whether the main window stays closed at start.
#pragma once

namespace qm {

class Defaults;

// Brings back a menu-bar item the system may have hidden or moved out of sight:
// once per installation, enables the item and forgets the system's remembered
// visibility and position. Returns whether it ran.
bool migrateMenuBarDefaults(Defaults& defaults);

enum class ActivationPolicy { regular, accessory };  // with or without a Dock icon

// "dock.visible" false hides the Dock icon; unset or anything else shows it.
ActivationPolicy dockPolicy(const Defaults& defaults);

// The item is shown only once onboarding is done, so a fresh install does not
// put an icon in the menu bar before the user has seen the program.
bool menuBarEnabled(const Defaults& defaults);
bool menuBarBelongsOnScreen(const Defaults& defaults);

// Only an onboarded user can start in the menu bar alone: onboarding needs the window.
bool closeMainWindowAtLaunch(const Defaults& defaults);

}  // namespace qm
