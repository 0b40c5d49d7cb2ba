#include "notify/FreedesktopMessage.h"

namespace qm::freedesktop {

uint8_t urgency(int64_t severity) {
    if (severity <= 0) return 0;
    if (severity == 1) return 1;
    return 2;
}

std::string escapeMarkup(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            default: out += c;
        }
    }
    return out;
}

FreedesktopNotify message(const NotificationRequest& request,
                          const std::map<std::string, NotificationCategory>& categories,
                          const std::set<std::string>& capabilities) {
    FreedesktopNotify notify;
    notify.appName = appName;
    notify.appIcon = appIcon;
    notify.desktopEntry = desktopEntry;
    notify.summary = request.title;
    notify.body = capabilities.count("body-markup") != 0 ? escapeMarkup(request.body) : request.body;
    notify.urgency = urgency(request.severity);
    if (request.defaultSound && capabilities.count("sound") != 0) notify.soundName = soundName;
    if (capabilities.count("actions") != 0) {
        if (request.category) {
            if (auto it = categories.find(*request.category); it != categories.end()) {
                for (const auto& action : it->second.actions) {
                    notify.actions.push_back(action.identifier);
                    notify.actions.push_back(action.title);
                }
            }
        }
        // The label is what servers that list the click among the buttons show.
        notify.actions.emplace_back(clickAction);
        notify.actions.emplace_back("Show in Quillmere");
    }
    return notify;
}

}  // namespace qm::freedesktop
