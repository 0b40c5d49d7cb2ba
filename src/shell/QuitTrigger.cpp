#include "shell/QuitTrigger.h"

namespace qm {

QuitPolicy::QuitRequest classifyQuit(const QuitTrigger& trigger) {
    // A quit Apple event always comes from outside (with or without a reason), even
    // when the user's last key press happens to be the current event.
    if (trigger.sessionEnding || trigger.quitAppleEvent || trigger.quitReason) return QuitPolicy::QuitRequest::other;
    return trigger.keyOrClick ? QuitPolicy::QuitRequest::userQuit : QuitPolicy::QuitRequest::other;
}

}  // namespace qm
