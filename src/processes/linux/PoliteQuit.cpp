// Quit App on Linux: SIGTERM, the request a desktop sends when the user quits an app
// from its window manager or session. Each target's owner is read again from /proc
// just before the signal, so a pid that was reused by another user is never signalled.
#include "processes/PoliteQuit.h"

#include <signal.h>
#include <unistd.h>

#include "core/FileRead.h"

namespace qm {

namespace {

// The real user id on the "Uid:" line of /proc/<pid>/status, or none when gone.
std::optional<uint32_t> currentOwner(int32_t pid) {
    auto status = readFile("/proc/" + std::to_string(pid) + "/status", 8192);
    if (!status) return std::nullopt;
    for (auto line : splitLines(*status)) {
        if (line.rfind("Uid:", 0) != 0) continue;
        auto fields = splitFields(line.substr(4));
        if (fields.empty()) return std::nullopt;
        if (auto uid = parseUInt(fields[0])) return static_cast<uint32_t>(*uid);
        return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace

int askGroupToQuit(const AppGroup& group) {
    const uint32_t user = ::getuid();
    int asked = 0;
    for (int32_t pid : politeQuitTargets(group, user, ::getpid())) {
        if (currentOwner(pid) != user) continue;
        if (::kill(pid, SIGTERM) == 0) ++asked;
    }
    return asked;
}

}  // namespace qm
