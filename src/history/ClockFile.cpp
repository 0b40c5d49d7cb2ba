#include "history/ClockFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>

#include "core/FileRead.h"

namespace qm {

std::string clockFilePath(const std::string& databasePath) { return databasePath + ".clock"; }

std::optional<ClockAnchor> readClockAnchor(const std::string& databasePath) {
    auto text = readFile(clockFilePath(databasePath), 4096);
    if (!text) return std::nullopt;
    std::istringstream fields(*text);
    std::string label;
    ClockAnchor anchor;
    if (!(fields >> label >> anchor.boot >> anchor.wall >> anchor.continuous) || label != "anchor") return std::nullopt;
    return anchor;
}

bool writeClockAnchor(const std::string& databasePath, const ClockAnchor& anchor) {
    // Boot names are UUIDs; anything with a blank would break the line.
    if (anchor.boot.empty() || anchor.boot.find_first_of(" \t\r\n") != std::string::npos) return false;
    char numbers[96];
    std::snprintf(numbers, sizeof numbers, " %.3f %.3f\n", anchor.wall, anchor.continuous);
    const std::string text = "anchor " + anchor.boot + numbers;
    const std::string target = clockFilePath(databasePath);
    const std::string temporary = target + ".new";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    const bool written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(fd);
    if (!written || std::rename(temporary.c_str(), target.c_str()) != 0) {
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
}

}  // namespace qm
