// The texts of the settings window, in the words of the platform it runs on: a Mac
// has a Dock, ⌘Q and Language & Region; a Linux desktop has none of these, so its
// rows say what the same choice means there.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "processes/HelperInstaller.h"

namespace qm {

enum class Desktop { mac, freedesktop };  // freedesktop: Linux and other XDG desktops
Desktop thisDesktop();

struct IntervalChoice {
    std::string title;  // "1 second"
    double seconds = 0;
};

struct GeneralSettingsText {
    std::string updateEvery;  // "Update every"
    std::vector<IntervalChoice> intervals;
    std::string updateFootnote;
    std::optional<std::string> showInDock;  // absent where there is no Dock
    std::string windowAtLaunch;
    std::string keepRunning;
    std::string keepRunningFootnote;
    std::string launchAtLogin;
    std::string language;
    std::string languageNote;
    std::string languageButton;  // opens the system's language settings
};
GeneralSettingsText generalSettingsText(Desktop desktop);

// What opens the system's language settings: a URL on a Mac; on Linux the first of
// these programs that is installed (GNOME, then KDE).
inline constexpr const char* macLanguageSettingsURL =
    "x-apple.systempreferences:com.apple.Localization-Settings.extension";
std::vector<std::vector<std::string>> linuxLanguageSettingsCommands();

// The privileged helper's row on the System access page for one state.
struct HelperRow {
    std::string title;  // "Exact system figures"
    std::string note;
    std::string status;  // "Allowed", or why it is not
    bool ok = false;     // a check mark when true, an exclamation mark otherwise
    enum class Button { none, allow, approve, remove };
    std::vector<Button> buttons;
};
HelperRow helperRow(HelperInstaller::State state, Desktop desktop);
std::string buttonTitle(HelperRow::Button button);

// Which process writes the history, for the Data page.
std::string recorderLine(bool thisAppRecords, std::optional<int> recorderPid);

}  // namespace qm
