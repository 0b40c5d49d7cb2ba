// The platform's notification service as the alert center sees it: register the
// category whose buttons a notification may carry, post a notification, and hear
// which button (or the notification itself) the user clicked. Implementations talk
// to the desktop's service (freedesktop notifications over D-Bus on Linux,
// UserNotifications on macOS) and never block the caller: posting hands the request
// over and returns.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qm {

struct NotificationAction {
    std::string identifier;    // handed back when the button is pressed
    std::string title;         // the button's label
    bool destructive = false;  // shown as a warning where the platform can
    bool foreground = false;   // brings the app forward
};

struct NotificationCategory {
    std::string identifier;
    std::vector<NotificationAction> actions;  // in the order shown
};

struct NotificationRequest {
    std::string identifier;  // unique per notification
    std::string title;
    std::string body;
    int64_t severity = 0;  // 0 information, 1 warning, 2 serious
    bool defaultSound = true;
    std::optional<std::string> category;  // the buttons of this registered category, or none
    std::map<std::string, std::string> userInfo;
};

struct NotificationResponse {
    // The pressed button's identifier, or the platform's own identifier for a click on
    // the notification itself.
    std::string actionIdentifier;
    std::map<std::string, std::string> userInfo;  // as posted
};

class NotificationSink {
public:
    using ResponseHandler = std::function<void(const NotificationResponse&)>;

    virtual ~NotificationSink() = default;

    // Registers a category before notifications that use it are posted.
    virtual void registerCategory(const NotificationCategory& category) = 0;
    // Called with every answer the user gives, on a thread of the sink's choosing.
    virtual void setResponseHandler(ResponseHandler handler) = 0;
    // Hands the notification to the service and returns at once; failures are logged
    // by the sink, never reported to the caller.
    virtual void post(const NotificationRequest& request) = 0;
    // Asks the user for permission where the platform needs it; `completion` gets the
    // answer and an error text (empty when none), on a thread of the sink's choosing.
    virtual void requestPermission(std::function<void(bool granted, const std::string& error)> completion) {
        auto answer = std::move(completion);
        answer(true, "");
    }
    // Waits at most `seconds` until every posted notification has reached the service
    // or failed; true when the last one reached it. For short-lived programs that post
    // and exit.
    virtual bool waitUntilDelivered(double seconds) = 0;
};

}  // namespace qm
