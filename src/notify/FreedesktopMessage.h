// What a notification becomes on the freedesktop notification service
// (org.freedesktop.Notifications): the arguments of one Notify call, decided from the
// request, the registered categories and what the running server says it can do.
// Pure, so the rules are tested without a bus.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "history/NotificationSink.h"

namespace qm {

struct FreedesktopNotify {
    std::string appName;
    std::string appIcon;
    std::string summary;
    std::string body;
    std::vector<std::string> actions;  // identifier, label, identifier, label, ...
    uint8_t urgency = 1;               // 0 low, 1 normal, 2 critical
    std::string desktopEntry;
    std::string soundName;       // empty: no sound hint
    int32_t expireTimeout = -1;  // the server's own default
};

namespace freedesktop {

constexpr std::string_view appName = "Quillmere";
constexpr std::string_view desktopEntry = "quillmere";  // quillmere.desktop
constexpr std::string_view appIcon = "utilities-system-monitor";
// The action a server invokes when the notification itself is clicked.
constexpr std::string_view clickAction = "default";
constexpr std::string_view soundName = "message-new-instant";

// Severity 0 information → low, 1 warning → normal, 2 serious → critical.
uint8_t urgency(int64_t severity);

// Escapes &, < and > for servers that read the body as markup.
std::string escapeMarkup(std::string_view text);

// The Notify arguments. Buttons go only to a server with the "actions" capability: the
// request's category buttons in order, then the click, which opens the main window.
FreedesktopNotify message(const NotificationRequest& request,
                          const std::map<std::string, NotificationCategory>& categories,
                          const std::set<std::string>& capabilities);

}  // namespace freedesktop
}  // namespace qm
