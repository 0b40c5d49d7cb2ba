// Where things live: the root the Linux sources read below, and the user's folders.
#pragma once

#include <string>

namespace qm {

// The root below which /proc and /sys are read: $QUILLMERE_ROOT, or "" for the live
// system. Paths are built as root + "/proc/...".
const std::string& systemRoot();

// Points the sources at a fixture tree ("" for the live system). Tests only: a source
// that copied the root when it was made keeps that copy, and nothing may be reading
// the root on another thread while it changes.
void setSystemRootForTesting(std::string root);

// The user's data folder for Quillmere (created on demand by the caller):
// Linux: $XDG_DATA_HOME/quillmere (default ~/.local/share/quillmere);
// macOS: ~/Library/Application Support/Quillmere.
std::string dataDirectory();

// The user's settings folder: Linux $XDG_CONFIG_HOME/quillmere (default ~/.config/quillmere).
std::string configDirectory();

// The home directory ($HOME, or the password database).
std::string homeDirectory();

}  // namespace qm
