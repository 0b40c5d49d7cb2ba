#include "shell/QuitPolicy.h"

#include <atomic>

#include "shell/LaunchSettings.h"
#include "shell/SettingRead.h"

namespace qm {
namespace {
std::atomic<bool> completeQuit{false};
}

bool QuitPolicy::keepsRunning() const {
    if (storedBool(defaults_, "quit.keepRunningInMenuBar") == false) return false;
    return menuBarBelongsOnScreen(defaults_);
}

QuitPolicy::Reply QuitPolicy::reply(QuitRequest request) const {
    if (completeQuitRequested() || !keepsRunning()) return Reply::terminateNow;
    return request == QuitRequest::userQuit ? Reply::goToBackground : Reply::terminateNow;
}

bool QuitPolicy::claimBackgroundHint() {
    if (defaults_.boolValue("quit.backgroundHintShown")) return false;
    defaults_.set("quit.backgroundHintShown", true);
    return true;
}

bool QuitPolicy::shouldRestoreDock(bool policyIsRegular) const {
    if (storedBool(defaults_, "dock.visible") == false) return false;
    return !policyIsRegular;
}

void QuitPolicy::requestCompleteQuit() { completeQuit = true; }
bool QuitPolicy::completeQuitRequested() { return completeQuit; }
void QuitPolicy::resetCompleteQuitForTesting() { completeQuit = false; }

QuitPolicy::Hint QuitPolicy::backgroundHint() {
    return {
        "Quillmere is still running in your menu bar",
        "It keeps recording your timeline and watching for runaway apps. To quit completely, right-click the "
        "Quillmere icon in the menu bar and choose Quit, or press \u2325\u2318Q.",
        "OK",
        "Quit Completely",
    };
}

}  // namespace qm
