// "Quit App" from a notification: the polite request an app's own Quit command makes,
// never a forced kill. On Linux each of the group's processes that belongs to this
// user gets SIGTERM; on macOS every running application with the group's bundle
// identifier is asked to terminate. A group that is gone is left alone.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

// The processes of `group` a polite quit may signal: those of user `userID` only,
// never process 0 or 1 and never `ownPID` (the asker itself), each pid once.
std::vector<int32_t> politeQuitTargets(const AppGroup& group, uint32_t userID, int32_t ownPID);

// The group with this key as it runs now, from a fresh read of the process list
// (so its processes are the current ones); none when it is no longer running.
std::optional<AppGroup> runningGroup(const std::string& key);

// Asks the group to quit (defined per platform). Returns how many processes or
// applications were asked; 0 when there was nothing this user may ask.
int askGroupToQuit(const AppGroup& group);

// runningGroup, then askGroupToQuit; one log line when the group is gone or none of
// it could be asked.
void quitGroupPolitely(const std::string& key);

}  // namespace qm
