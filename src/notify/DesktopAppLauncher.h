// "Show in Quillmere" from a process without windows: start the desktop app on the
// group (`quillmere-app --show KEY`). The app keeps a single instance, so a running
// one comes forward instead.
#pragma once

#include <optional>
#include <string>

namespace qm {

constexpr const char* desktopAppName = "quillmere-app";

// The desktop app beside this program (`ownDirectory`), else the first executable of
// that name in the colon-separated `searchPath`; none when neither has it.
std::optional<std::string> findDesktopApp(const std::string& ownDirectory, const std::string& searchPath);

// The folder of the running program, or "" when unknown.
std::string ownExecutableDirectory();

// Starts `app --show KEY` (just `app` without a key), detached from this process, its
// output discarded. False when it could not be started.
bool launchDesktopApp(const std::string& app, const std::optional<std::string>& key);

// findDesktopApp for this program and $PATH, then launchDesktopApp; one log line when
// the app is not installed.
void showInDesktopApp(const std::optional<std::string>& key);

}  // namespace qm
