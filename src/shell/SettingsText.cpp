#include "shell/SettingsText.h"

#include "fmt/PlatformWording.h"
#include "shell/PlatformKeys.h"

namespace qm {

Desktop thisDesktop() {
#ifdef __APPLE__
    return Desktop::mac;
#else
    return Desktop::freedesktop;
#endif
}

GeneralSettingsText generalSettingsText(Desktop desktop) {
    const bool mac = desktop == Desktop::mac;
    auto shown = [mac](const std::string& text) { return mac ? text : linuxKeys(linuxWording(text)); };
    GeneralSettingsText t;
    t.updateEvery = "Update every";
    t.intervals = {{"1 second", 1.0}, {"2 seconds", 2.0}, {"5 seconds", 5.0}};
    t.updateFootnote = "While a Quillmere window is open. In the background it always relaxes to 5\u201310 seconds.";
    if (mac) t.showInDock = "Show in Dock";
    t.windowAtLaunch = "Open the Quillmere window when it starts";
    t.keepRunning = shown("Keep running in the menu bar when you press \u2318Q");
    t.keepRunningFootnote = shown(
        "Quillmere keeps your timeline and alerts going in the background. Quit completely from the menu bar icon "
        "(right-click \u203A Quit) or with \u2325\u2318Q.");
    t.launchAtLogin = "Open Quillmere when you log in";
    t.language = "Language";
    if (mac) {
        t.languageNote =
            "Quillmere follows your Mac's language. To use a different language just for Quillmere, set it in "
            "Language & Region.";
        t.languageButton = "Open Language & Region\u2026";
    } else {
        t.languageNote =
            "Quillmere follows your desktop's language. To use a different language just for Quillmere, start it "
            "with LANGUAGE set, for example LANGUAGE=de quillmere-app.";
        t.languageButton = "Open Region & Language Settings\u2026";
    }
    return t;
}

std::vector<std::vector<std::string>> linuxLanguageSettingsCommands() {
    return {{"gnome-control-center", "region"}, {"systemsettings", "kcm_regionandlang"}};
}

HelperRow helperRow(HelperInstaller::State state, Desktop desktop) {
    using State = HelperInstaller::State;
    using Button = HelperRow::Button;
    HelperRow row;
    row.title = "Exact system figures";
    if (desktop == Desktop::mac) {
        row.note =
            "A read-only helper lets Quillmere measure macOS's own processes (WindowServer, kernel_task\u2026). "
            "Without it they're estimated.";
    } else {
        row.note =
            "A read-only helper lets Quillmere measure what only the system may read: disk use of other users' "
            "processes and the processor's power draw. Without it they're estimated.";
    }
    switch (state) {
        case State::enabled:
            row.status = "Allowed";
            row.ok = true;
            row.buttons = {Button::remove};
            break;
        case State::requiresApproval:
            row.status = desktop == Desktop::mac ? "Waiting for your approval" : "Waiting for the administrator";
            row.buttons = {Button::approve};
            break;
        case State::notRegistered:
            row.status = "Not allowed yet";
            row.buttons = {Button::allow};
            break;
        case State::unavailable:
            row.status = desktop == Desktop::mac ? "Not available on this system"
                                                 : "The helper is not installed (package quillmere-helper)";
            break;
    }
    return row;
}

std::string buttonTitle(HelperRow::Button button) {
    switch (button) {
        case HelperRow::Button::allow: return "Allow";
        case HelperRow::Button::approve: return forThisPlatform("Approve in System Settings");
        case HelperRow::Button::remove: return "Remove helper";
        case HelperRow::Button::none: break;
    }
    return {};
}

std::string recorderLine(bool thisAppRecords, std::optional<int> recorderPid) {
    if (thisAppRecords) return "This app records the history: it writes every minute and event.";
    if (recorderPid)
        return "Another Quillmere process (pid " + std::to_string(*recorderPid) +
               ", usually the quillmere record service) records the history; this app reads it.";
    return "Another Quillmere process records the history; this app reads it.";
}

}  // namespace qm
