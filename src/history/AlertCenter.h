// Turns some of the detector's events into desktop notifications, holds back a repeat
// of the same thing for half an hour, and acts on the user's answer: "Quit App" asks
// the app to quit politely, anything else opens the main window on that app.
//
// Only the process that holds the recorder lock owns an alert center (the
// `quillmere record` service, or the desktop app while it records), so no alert is
// shown twice. Wiring it up, from the main thread:
//
//     auto sink = makePlatformNotificationSink();                // notify/PlatformNotifications.h
//     AlertCenter alerts(std::move(sink), mainQueue, hooks);     // hooks: quit and open, below
//     monitor.onEvents = [&](const auto& events) { alerts.deliver(events); };
//
// `politeQuitHook()` (notify/PlatformNotifications.h) gives the platform's quit; the
// open hook is the caller's: the desktop app selects the group and raises its main
// window, the command line starts the desktop app with `--show KEY`.
//
// Main queue only, except that the sink may answer on its own thread: answers are
// moved to the main queue before anything acts on them.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Clock.h"
#include "core/Defaults.h"
#include "core/Queue.h"
#include "core/Snapshot.h"
#include "history/NotificationSink.h"

namespace qm {

// A setting that turns the notifications of one kind of event on or off (Bool,
// default true when absent or of another type), with its label in the alert settings.
struct AlertSwitch {
    const char* key;
    EventKind kind;
    const char* label;
};

// "alert.highCPU", "alert.memoryLeak", "alert.thermal", "alert.pressure", in that order.
const std::vector<AlertSwitch>& alertSwitches();
const AlertSwitch* findAlertSwitch(std::string_view key);

class AlertCenter {
public:
    static constexpr std::string_view quitAction = "QUIT_APP";
    static constexpr std::string_view openAction = "OPEN";
    static constexpr std::string_view category = "APP_EVENT";
    static constexpr std::string_view appKeyInfo = "appKey";
    // The same kind of event for the same app is announced at most once in this time.
    static constexpr double holdBackSeconds = 1800;

    static constexpr std::string_view appNameInfo = "appName";
    static constexpr std::string_view processesInfo = "processes";

    // What "Quit App" is aimed at: the event's app, and the processes that made the
    // event as they were when it was detected.
    struct QuitRequest {
        std::string appKey;
        std::string appName;
        std::vector<ProcessRef> processes;
    };

    struct Hooks {
        // Quits what the request names: an app ("app:" key) the way its own Quit would,
        // anything else only the recorded processes that are still the same ones. Calls
        // `told` once, on any thread, with a sentence saying what happened.
        std::function<void(const QuitRequest& request, std::function<void(const std::string& said)> told)> quitApp;
        // Opens (or brings forward) the main window, on that group when a key is given.
        std::function<void(const std::optional<std::string>& appKey)> open;
    };

    // Registers the "APP_EVENT" category with the sink and takes its answers. Settings
    // come from `defaults` (Defaults::shared() when null), read on every event.
    AlertCenter(std::unique_ptr<NotificationSink> sink, SerialQueue& main, Hooks hooks, Defaults* defaults = nullptr,
                const Clock& clock = Clock::system());
    ~AlertCenter();
    AlertCenter(const AlertCenter&) = delete;
    AlertCenter& operator=(const AlertCenter&) = delete;

    // Posts a notification for the event when its switch allows and it was not
    // announced in the last half hour.
    void deliver(const TimelineEvent& event);
    // The monitor's events hook: each event of a batch, in order.
    void deliver(const std::vector<TimelineEvent>& events);
    bool shouldDeliver(const TimelineEvent& event) const;

    // Acts on an answer (main queue): "QUIT_APP" with an app asks it to quit and says
    // what happened in a notification of its own; anything else opens the main window,
    // on the app when there is one.
    void handle(const NotificationResponse& response);

    // Asks the platform for permission; the completion runs on the main queue.
    void requestPermission(std::function<void(bool granted, const std::string& error)> completion);

    NotificationSink& sink() { return *sink_; }

    // "QUIT_APP" ("Quit App", destructive), then "OPEN" ("Show in Quillmere", foreground).
    static NotificationCategory appEventCategory();
    // The kind's name, ":", and the event's app key (empty when none): "highCPU:app:/x".
    static std::string holdBackKey(const TimelineEvent& event);
    // Title, body (in this platform's words) and sound from the event; the category and
    // the "appKey" user-info for a runaway or leaking app, or any event about a real
    // application.
    static NotificationRequest content(const TimelineEvent& event, std::string identifier);
    // The processes of a notification's user-info as "pid:start:uid" joined by ","; the
    // reading skips anything malformed (user-info may come back from a stranger).
    static std::string encodeProcesses(const std::vector<ProcessRef>& processes);
    static std::vector<ProcessRef> decodeProcesses(std::string_view text);
    // A new random (version 4) UUID in its usual text form.
    static std::string randomIdentifier();

private:
    Defaults& settings() const;

    SerialQueue& main_;
    Hooks hooks_;
    Defaults* defaults_;
    const Clock& clock_;
    std::map<std::string, Date> lastSent;
    // Answers hop to the main queue holding this flag, not the alert center itself.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    // Last, so it goes first: no answer arrives once destruction has begun.
    std::unique_ptr<NotificationSink> sink_;
};

}  // namespace qm
