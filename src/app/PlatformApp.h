// The few things the app asks of its platform beyond Qt: the Dock icon (a Mac's
// activation policy; Linux has no Dock), launch at login (a login item on a Mac, an
// XDG autostart entry on Linux) and the system's language settings.
#pragma once

#include <QString>

#include "shell/LaunchSettings.h"

namespace qm::app {

void applyActivationPolicy(ActivationPolicy policy);
bool activationPolicyIsRegular();

bool launchAtLoginEnabled();
// Returns an empty string on success, otherwise a one-line reason.
QString setLaunchAtLogin(bool enabled);

// Opens the system's language settings; false when there is nothing to open.
bool openLanguageSettings();
bool canOpenLanguageSettings();

}  // namespace qm::app
