// The few things the app asks of its platform beyond Qt: the Dock icon (a Mac's
// activation policy; Linux has no Dock), launch at login (a login item on a Mac, an
// XDG autostart entry on Linux) and the system's language settings.
#pragma once

#include <QString>
#include <functional>

#include "shell/LaunchSettings.h"
#include "shell/QuitTrigger.h"

namespace qm::app {

void applyActivationPolicy(ActivationPolicy policy);
bool activationPolicyIsRegular();

bool launchAtLoginEnabled();
// Returns an empty string on success, otherwise a one-line reason.
QString setLaunchAtLogin(bool enabled);

// What asked for the quit being handled, read while handling it (a Mac: the current
// Apple event's quit reason, the current input event, a power-off announcement).
QuitTrigger currentQuitTrigger();
// Calls `reopened` (main thread) when the user opens the running program again: a
// Mac's reopen event (the Dock icon, a double click in Finder, `open`), which starts no
// second process. On Linux a second launch hands over through SingleInstance instead.
void watchReopen(std::function<void()> reopened);

// Opens the system's language settings; false when there is nothing to open.
bool openLanguageSettings();
bool canOpenLanguageSettings();

}  // namespace qm::app
