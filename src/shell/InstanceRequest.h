// The desktop app runs once per user. A second launch hands what it was asked to do
// to the running instance over a local socket and exits: `--toggle` (bound to a key
// in the desktop's keyboard settings, the counterpart of a global hot key) toggles
// the quick look, `--show KEY` opens the main window on a group (a notification's
// "Show in Quillmere"). One request is one line of text.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qm {

struct InstanceRequest {
    enum class Kind { open, toggle, show };
    Kind kind = Kind::open;  // a plain launch: bring the main window forward
    std::string key;         // show: the group's key ("app:…" or "proc:…")

    bool operator==(const InstanceRequest&) const = default;

    // "open", "toggle", or "show " + key.
    std::string line() const;
    // The request a line stands for; none for anything else (nothing is done with it).
    static std::optional<InstanceRequest> fromLine(const std::string& line);
};

struct LaunchArguments {
    InstanceRequest request;
    std::string error;     // a one-line reason when the arguments make no sense
    bool help = false;     // --help or -h: print launchUsage() and exit
    bool version = false;  // --version: print the version and exit
};

// What `quillmere-app --help` prints.
std::string launchUsage();

// Reads the program's arguments (without argv[0]). Qt's own options ("-platform",
// "-style", ...) are left to Qt and skipped here.
LaunchArguments parseLaunchArguments(const std::vector<std::string>& args);

// Where the running instance listens: in the user's runtime directory when there is
// one, otherwise a per-user name in the temporary directory.
std::string instanceSocketPath(const std::string& runtimeDirectory, unsigned uid);

// What is wrong with the display settings, or nothing. With neither DISPLAY nor
// WAYLAND_DISPLAY set (and no platform chosen with QT_QPA_PLATFORM) a window cannot open.
std::optional<std::string> displayProblem(const char* display, const char* waylandDisplay, const char* qpaPlatform);

}  // namespace qm
