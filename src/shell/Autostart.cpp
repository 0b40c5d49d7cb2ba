#include "shell/Autostart.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace qm {

std::string autostartPath(const std::string& configHome) { return configHome + "/autostart/quillmere-app.desktop"; }

std::string autostartEntry(const std::string& executable) {
    // Exec takes a quoted argument when the path holds spaces or quotes.
    std::string exec = executable;
    if (exec.find_first_of(" \t\"\\") != std::string::npos) {
        std::string quoted = "\"";
        for (char c : exec) {
            if (c == '"' || c == '\\' || c == '`' || c == '$') quoted += '\\';
            quoted += c;
        }
        exec = quoted + "\"";
    }
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Quillmere\n"
           "Comment=System monitor that remembers\n"
           "Exec=" +
           exec +
           "\n"
           "Icon=quillmere\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

bool autostartEnabled(const std::string& path) {
    std::ifstream in(path);
    if (!in) return false;
    std::string line;
    while (std::getline(in, line)) {
        if (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false") return false;
    }
    return true;
}

std::string setAutostart(const std::string& path, bool enabled, const std::string& executable) {
    std::error_code error;
    if (!enabled) {
        std::filesystem::remove(path, error);
        return error ? error.message() : std::string();
    }
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    if (error) return error.message();
    const std::string temporary = path + ".new";
    {
        std::ofstream out(temporary, std::ios::trunc);
        if (!out) return std::strerror(errno);
        out << autostartEntry(executable);
        if (!out.flush()) return std::strerror(errno);
    }
    std::filesystem::rename(temporary, path, error);
    return error ? error.message() : std::string();
}

}  // namespace qm
