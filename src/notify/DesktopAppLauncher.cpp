#include "notify/DesktopAppLauncher.h"

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "core/Log.h"

#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

extern char** environ;

namespace qm {

namespace {

bool isExecutableFile(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

}  // namespace

std::optional<std::string> findDesktopApp(const std::string& ownDirectory, const std::string& searchPath) {
    if (!ownDirectory.empty()) {
        std::string beside = ownDirectory + "/" + desktopAppName;
        if (isExecutableFile(beside)) return beside;
    }
    std::string_view rest = searchPath;
    while (!rest.empty()) {
        const size_t colon = rest.find(':');
        std::string_view folder = rest.substr(0, colon);
        rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
        if (folder.empty()) continue;  // an empty entry would mean the current folder: not trusted here
        std::string candidate = std::string(folder) + "/" + desktopAppName;
        if (isExecutableFile(candidate)) return candidate;
    }
    return std::nullopt;
}

std::string ownExecutableDirectory() {
    std::string path;
#ifdef __APPLE__
    uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::vector<char> buffer(size + 1, '\0');
    if (_NSGetExecutablePath(buffer.data(), &size) != 0) return "";
    path = buffer.data();
#else
    std::vector<char> buffer(4096, '\0');
    const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
    if (length <= 0) return "";
    path.assign(buffer.data(), static_cast<size_t>(length));
#endif
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

bool launchDesktopApp(const std::string& app, const std::optional<std::string>& key) {
    // A short-lived shell starts the app in the background and exits at once, so the
    // app is nobody's child here and leaves no zombie behind.
    std::vector<std::string> arguments{"/bin/sh", "-c",
                                       key ? "\"$0\" --show \"$1\" </dev/null >/dev/null 2>&1 &"
                                           : "\"$0\" </dev/null >/dev/null 2>&1 &",
                                       app};
    if (key) arguments.push_back(*key);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t shell = 0;
    if (::posix_spawn(&shell, "/bin/sh", nullptr, nullptr, argv.data(), environ) != 0) return false;
    int status = 0;
    while (::waitpid(shell, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void showInDesktopApp(const std::optional<std::string>& key) {
    const char* path = std::getenv("PATH");
    auto app = findDesktopApp(ownExecutableDirectory(), path != nullptr ? path : "");
    if (!app) {
        logLine(std::string("cannot show ") + (key ? *key : std::string("the main window")) + ": " + desktopAppName +
                " is not installed");
        return;
    }
    if (!launchDesktopApp(*app, key)) logLine("could not start " + *app);
}

}  // namespace qm
