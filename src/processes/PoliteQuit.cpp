#include "processes/PoliteQuit.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "processes/Sources.h"

namespace qm {

std::optional<AppGroup> runningGroup(const std::string& key) {
    auto reader = makeProcessListSource();
    if (!reader) return std::nullopt;
    auto result = reader->read(false);
    for (auto& group : result.groups)
        if (group.id == key) return std::move(group);
    return std::nullopt;
}

std::string quitGroupPolitely(const std::string& key) {
    // Processes read from a copied tree are not this machine's: their pids mean nothing here.
    if (!systemRoot().empty()) {
        std::string said = "Nothing was quit: processes are read from " + systemRoot() + ", not this machine.";
        logLine("not quitting " + key + ": processes are read from " + systemRoot() + ", not this machine");
        return said;
    }
    auto group = runningGroup(key);
    if (!group) {
        logLine("not quitting " + key + ": it is no longer running");
        return "It is no longer running.";
    }
    return askGroupToQuit(*group);
}

}  // namespace qm
