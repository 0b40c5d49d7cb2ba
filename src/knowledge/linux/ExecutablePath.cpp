// Our own executable, so the live /proc/self/exe and never the configurable root.
#include "knowledge/ExecutablePath.h"

#include "core/FileRead.h"

namespace qm {

std::optional<std::string> executableDirectory() {
    auto exe = readLink("/proc/self/exe");
    if (!exe) return std::nullopt;
    const auto slash = exe->rfind('/');
    if (slash == std::string::npos) return std::nullopt;
    return exe->substr(0, slash == 0 ? 1 : slash);
}

}  // namespace qm
