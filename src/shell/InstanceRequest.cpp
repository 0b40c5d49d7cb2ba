#include "shell/InstanceRequest.h"

#include <set>
#include <string_view>

namespace qm {

std::string InstanceRequest::line() const {
    switch (kind) {
        case Kind::open: return "open";
        case Kind::toggle: return "toggle";
        case Kind::show: return "show " + key;
    }
    return "open";
}

std::optional<InstanceRequest> InstanceRequest::fromLine(const std::string& line) {
    std::string text = line;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    if (text == "open") return InstanceRequest{};
    if (text == "toggle") return InstanceRequest{Kind::toggle, {}};
    constexpr std::string_view show = "show ";
    if (text.starts_with(show) && text.size() > show.size())
        return InstanceRequest{Kind::show, text.substr(show.size())};
    return std::nullopt;
}

LaunchArguments parseLaunchArguments(const std::vector<std::string>& args) {
    // Qt's options that take a value; QApplication has removed them by the time we
    // look, but a caller that passes the raw arguments must not see them as ours.
    static const std::set<std::string, std::less<>> qtWithValue{"-platform",      "-platformpluginpath",
                                                                "-platformtheme", "-plugin",
                                                                "-qmljsdebugger", "-style",
                                                                "-stylesheet",    "-display",
                                                                "-geometry"};
    LaunchArguments result;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--help" || arg == "-h") {
            result.help = true;
        } else if (arg == "--version") {
            result.version = true;
        } else if (arg == "--toggle") {
            result.request = {InstanceRequest::Kind::toggle, {}};
        } else if (arg == "--show" || arg.starts_with("--show=")) {
            std::string key;
            if (arg == "--show") {
                if (i + 1 >= args.size()) {
                    result.error = "--show needs a group key, such as app:/usr/share/applications/firefox.desktop";
                    return result;
                }
                key = args[++i];
            } else {
                key = arg.substr(7);
            }
            if (key.empty()) {
                result.error = "--show needs a group key, such as app:/usr/share/applications/firefox.desktop";
                return result;
            }
            result.request = {InstanceRequest::Kind::show, key};
        } else if (qtWithValue.contains(arg)) {
            ++i;
        } else if (arg.starts_with("-") && !arg.starts_with("--")) {
            // another of Qt's switches
        } else {
            result.error = "unknown argument " + arg + " (see quillmere-app --help)";
            return result;
        }
    }
    return result;
}

std::string launchUsage() {
    return "Usage: quillmere-app [--toggle | --show KEY]\n"
           "The Quillmere desktop app: an item in the system tray and a window with the\n"
           "machine's figures, its apps and their history. One runs per user; starting it\n"
           "again hands the request to the running one.\n"
           "\n"
           "  (no option)   open the window\n"
           "  --toggle      open or close the quick look beside the tray item\n"
           "  --show KEY    open the window on an app group, such as proc:firefox\n"
           "  --version     print the version\n"
           "  -h, --help    print this help\n"
           "\n"
           "The command line, quillmere, reads the same figures and history in a terminal.\n";
}

std::string instanceSocketPath(const std::string& runtimeDirectory, unsigned uid) {
    if (!runtimeDirectory.empty()) return runtimeDirectory + "/quillmere-app.socket";
    return "/tmp/quillmere-app-" + std::to_string(uid) + ".socket";
}

std::optional<std::string> displayProblem(const char* display, const char* waylandDisplay, const char* qpaPlatform) {
    auto set = [](const char* value) { return value && *value; };
    if (set(display) || set(waylandDisplay) || set(qpaPlatform)) return std::nullopt;
    return "no display to open a window on (neither DISPLAY nor WAYLAND_DISPLAY is set)";
}

}  // namespace qm
