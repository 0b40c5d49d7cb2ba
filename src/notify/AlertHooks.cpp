// The hooks shared by both platforms: Quit App and Show in Quillmere for a process
// without windows.
#include "notify/DesktopAppLauncher.h"
#include "notify/PlatformNotifications.h"
#include "processes/PoliteQuit.h"

namespace qm {

std::function<void(const std::string& appKey)> politeQuitHook() {
    return [](const std::string& appKey) { quitGroupPolitely(appKey); };
}

AlertCenter::Hooks recorderAlertHooks() {
    AlertCenter::Hooks hooks;
    hooks.quitApp = politeQuitHook();
    hooks.open = [](const std::optional<std::string>& appKey) { showInDesktopApp(appKey); };
    return hooks;
}

}  // namespace qm
