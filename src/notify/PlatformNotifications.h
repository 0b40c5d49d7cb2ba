// The notification sink of this platform and the hooks an alert center needs, so any
// process that records can own an alert center in a few lines (see
// history/AlertCenter.h). The desktop app passes its own open hook (select the group,
// raise the main window); the recorder uses recorderAlertHooks().
#pragma once

#include <memory>
#include <string>

#include "history/AlertCenter.h"
#include "history/NotificationSink.h"

namespace qm {

struct NotificationSinkOptions {
    // Linux: the D-Bus address of the session bus to use; empty for the user's own.
    std::string busAddress;
};

// Linux: freedesktop notifications on the session bus (its own thread; never blocks).
// macOS: UserNotifications, as the current notification center's delegate (needs the
// app bundle; without one it logs one line and drops notifications).
std::unique_ptr<NotificationSink> makePlatformNotificationSink(const NotificationSinkOptions& options = {});

// Quit App, on a thread of its own: an app's group looked up afresh and asked to quit
// politely (processes/PoliteQuit.h); anything else only the processes the event
// recorded (notify/AlertQuit.h).
using AlertQuitHook = decltype(AlertCenter::Hooks::quitApp);
AlertQuitHook politeQuitHook();

// For a process without windows: quit politely, and show by starting the desktop app
// with `--show KEY` (one log line when it is not installed).
AlertCenter::Hooks recorderAlertHooks();

}  // namespace qm
