// What asked the program to quit, as far as the platform can tell, and which kind of
// request that is for the Quit policy. Only the user's own ⌘Q (Ctrl+Q) or a click on
// the application menu's Quit may send the program to the background; everything else
// (log out, restart, shut down, an installer, another program's request) terminates,
// or the system would wait for us and give up on logging out.
#pragma once

#include <cstdint>
#include <optional>

#include "shell/QuitPolicy.h"

namespace qm {

struct QuitTrigger {
    // The session is ending: the session manager asked to save, or the system
    // announced that it powers off or logs out.
    bool sessionEnding = false;
    // Another process sent the quit Apple event (loginwindow, the Dock, a script,
    // an installer), with its reason code when it gave one (loginwindow's "logo",
    // "rlgo", "rest", "shut" as a four-character code).
    bool quitAppleEvent = false;
    std::optional<uint32_t> quitReason;
    // The event being handled is this program's own key press or mouse click.
    bool keyOrClick = false;
};

QuitPolicy::QuitRequest classifyQuit(const QuitTrigger& trigger);

}  // namespace qm
