// "Quit App" for an app: the polite request its own Quit command makes, never a forced
// kill. On Linux each of the group's processes that belongs to this user gets SIGTERM
// (through ProcessActions, so each is checked again just before); on macOS every
// running application with the group's bundle identifier is asked to terminate. A
// group that is gone is left alone.
#pragma once

#include <optional>
#include <string>

#include "core/Snapshot.h"

namespace qm {

// The group with this key as it runs now, from a fresh read of the process list
// (so its processes are the current ones); none when it is no longer running. Reads
// every process: never on the interface's thread.
std::optional<AppGroup> runningGroup(const std::string& key);

// Asks the group to quit (defined per platform) and says what happened.
std::string askGroupToQuit(const AppGroup& group);

// Whether Quit App may end the processes an event recorded when they are not an app's
// (Linux, where most programs have no application identity); macOS asks applications
// only and leaves anything else alone.
extern const bool quitEndsRecordedProcesses;

// runningGroup, then askGroupToQuit; the sentence saying what happened (also logged
// when nothing could be asked).
std::string quitGroupPolitely(const std::string& key);

}  // namespace qm
