// Launch at login on Linux desktops: an XDG autostart entry,
// $XDG_CONFIG_HOME/autostart/quillmere-app.desktop. Desktops start every entry there
// at login unless it says Hidden=true, so the switch reads the entry back rather than
// keeping a setting of its own.
#pragma once

#include <string>

namespace qm {

std::string autostartPath(const std::string& configHome);

// The entry's text; `executable` is the program to start (an absolute path when the
// program was not started from PATH).
std::string autostartEntry(const std::string& executable);

// True when the entry exists and is not hidden.
bool autostartEnabled(const std::string& path);

// Writes or removes the entry (creating the folder). Returns an empty string on
// success, otherwise the reason.
std::string setAutostart(const std::string& path, bool enabled, const std::string& executable);

}  // namespace qm
