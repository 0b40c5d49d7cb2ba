// The hooks shared by both platforms: Quit App and Show in Quillmere for a process
// without windows.
#include <memory>

#include "core/Queue.h"
#include "notify/AlertQuit.h"
#include "notify/DesktopAppLauncher.h"
#include "notify/PlatformNotifications.h"
#include "processes/PoliteQuit.h"

namespace qm {

AlertQuitHook politeQuitHook() {
    // A quit reads the process list and waits for processes to end: its own thread,
    // never the one that answers the user.
    std::shared_ptr<SerialQueue> worker = makeThreadQueue("app.quillmere.actions");
    return [worker](const AlertCenter::QuitRequest& request, std::function<void(const std::string&)> told) {
        worker->post([request, told = std::move(told)] {
            told(quitForAlert(request, ProcessActions::system(), quitGroupPolitely, quitEndsRecordedProcesses));
        });
    };
}

AlertCenter::Hooks recorderAlertHooks() {
    AlertCenter::Hooks hooks;
    hooks.quitApp = politeQuitHook();
    hooks.open = [](const std::optional<std::string>& appKey) { showInDesktopApp(appKey); };
    return hooks;
}

}  // namespace qm
