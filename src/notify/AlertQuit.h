// What "Quit App" on a notification ends: an app ("app:" key) is asked to quit the
// way its own Quit would; for anything else (a process group named after its
// program, where namesakes are separate programs) only the processes the event
// recorded, and only while they are still the same processes. On macOS, where only
// applications are asked to quit, anything else is left alone.
#pragma once

#include <functional>
#include <string>

#include "history/AlertCenter.h"
#include "processes/ProcessActions.h"

namespace qm {

// Carries out the request and says what happened. `quitApp` asks an app's group to
// quit and says what happened (the hooks pass quitGroupPolitely). Blocks for a few
// seconds at most: never on the interface's thread.
// `endsProcesses` false leaves everything but apps alone (macOS).
std::string quitForAlert(const AlertCenter::QuitRequest& request, const ProcessActions& actions,
                         const std::function<std::string(const std::string& appKey)>& quitApp, bool endsProcesses);

}  // namespace qm
