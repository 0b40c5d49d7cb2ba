#include "processes/PoliteQuit.h"

#include <algorithm>

#include "core/Log.h"
#include "core/Paths.h"
#include "processes/Sources.h"

namespace qm {

std::vector<int32_t> politeQuitTargets(const AppGroup& group, uint32_t userID, int32_t ownPID) {
    std::vector<int32_t> pids;
    for (const auto& process : group.processes) {
        if (process.uid != userID || process.pid <= 1 || process.pid == ownPID) continue;
        if (std::find(pids.begin(), pids.end(), process.pid) == pids.end()) pids.push_back(process.pid);
    }
    return pids;
}

std::optional<AppGroup> runningGroup(const std::string& key) {
    auto reader = makeProcessListSource();
    if (!reader) return std::nullopt;
    auto result = reader->read(false);
    for (auto& group : result.groups)
        if (group.id == key) return std::move(group);
    return std::nullopt;
}

void quitGroupPolitely(const std::string& key) {
    // Processes read from a copied tree are not this machine's: their pids mean nothing here.
    if (!systemRoot().empty()) {
        logLine("not quitting " + key + ": processes are read from " + systemRoot() + ", not this machine");
        return;
    }
    auto group = runningGroup(key);
    if (!group) {
        logLine("not quitting " + key + ": it is no longer running");
        return;
    }
    if (askGroupToQuit(*group) == 0) logLine("not quitting " + group->name + ": none of its processes are yours");
}

}  // namespace qm
