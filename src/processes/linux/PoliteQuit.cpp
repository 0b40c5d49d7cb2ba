// Quit App on Linux: SIGTERM, the request a desktop sends when the user quits an app
// from its window manager or session, to the group's processes as just read; each is
// checked again (same start time, still this user's) just before its signal.
#include "processes/PoliteQuit.h"

#include "processes/ProcessActions.h"

namespace qm {

const bool quitEndsRecordedProcesses = true;

std::string askGroupToQuit(const AppGroup& group) {
    std::vector<ProcessRef> targets;
    for (const ProcessSample& p : group.processes) targets.push_back(refOf(p));
    return ProcessActions::system().quit(targets).text();
}

}  // namespace qm
