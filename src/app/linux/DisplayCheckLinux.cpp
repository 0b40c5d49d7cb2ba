// A local X display (":N") is a socket in /tmp/.X11-unix; a Wayland display is a
// socket in the runtime directory. A remote X display is left to Qt to try.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "app/DisplayCheck.h"
#include "shell/InstanceRequest.h"

namespace qm::app {

namespace {

bool socketAnswers(const std::string& path) {
    sockaddr_un address{};
    if (path.size() >= sizeof(address.sun_path)) return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return true;  // cannot tell: let Qt try
    const bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
    ::close(fd);
    return ok;
}

std::optional<std::string> localX(const char* display) {
    std::string name = display;
    if (name.empty() || name[0] != ':') return std::nullopt;  // a host name: remote
    const size_t dot = name.find('.');
    const std::string number = name.substr(1, dot == std::string::npos ? std::string::npos : dot - 1);
    if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
    if (socketAnswers("/tmp/.X11-unix/X" + number)) return std::nullopt;
    return "cannot reach the X display " + name;
}

}  // namespace

std::optional<std::string> displayUnreachable() {
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    const char* display = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    if (auto problem = displayProblem(display, wayland, platform)) return problem;
    // A chosen platform other than X or Wayland (offscreen, vnc) needs no display.
    if (platform && *platform && std::strncmp(platform, "xcb", 3) != 0 && std::strncmp(platform, "wayland", 7) != 0)
        return std::nullopt;
    if (wayland && *wayland) {
        std::string path = wayland;
        if (path[0] != '/') {
            const char* runtime = std::getenv("XDG_RUNTIME_DIR");
            path = std::string(runtime ? runtime : "") + "/" + path;
        }
        if (socketAnswers(path)) return std::nullopt;
        if (!(display && *display)) return "cannot reach the Wayland display " + std::string(wayland);
    }
    if (display && *display) return localX(display);
    return std::nullopt;
}

}  // namespace qm::app
