// Desktop files (freedesktop.org desktop entries): where an app id's file lives in the
// XDG data directories, and the name it shows.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm {

// The untranslated "Name" of the "[Desktop Entry]" group; absent for a broken file.
std::optional<std::string> desktopEntryName(std::string_view text);

// Whether the entry is a terminal emulator: "TerminalEmulator" among its Categories.
bool desktopEntryIsTerminal(std::string_view text);

// The XDG data directories, most important first: $XDG_DATA_HOME (default
// ~/.local/share), then $XDG_DATA_DIRS (default /usr/local/share:/usr/share), then the
// flatpak and snap export folders when the session did not list them.
std::vector<std::string> xdgDataDirectories(const char* dataHome, const char* dataDirs, const std::string& home);

// Finds an app id's desktop file in the data directories; answers (hits and misses)
// are kept for the life of the index, so the file system is asked once per id.
class DesktopFileIndex {
public:
    explicit DesktopFileIndex(std::vector<std::string> dataDirectories);

    std::optional<std::string> find(const std::string& appID);

private:
    std::vector<std::string> directories_;
    std::map<std::string, std::optional<std::string>> cache_;
};

}  // namespace qm
