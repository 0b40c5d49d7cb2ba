#include "cli/LiveActions.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace qm::cli::live {

namespace {

std::string processes(int n) { return std::to_string(n) + (n == 1 ? " process" : " processes"); }

int signalFor(Action action) {
    switch (action) {
        case Action::quit: return SIGTERM;
        case Action::forceQuit: return SIGKILL;
        case Action::stop: return SIGSTOP;
        case Action::resume: return SIGCONT;
        case Action::lowerPriority:
        case Action::raisePriority: return 0;
    }
    return 0;
}

void add(ActionTally& tally, const ActionReport& report) {
    tally.done += report.signalled + report.ended + report.stillRunning;
    tally.gone += report.gone;
    tally.notOwn += report.notOwn;
    if (report.refused > 0 && tally.refused == 0) tally.refusal = report.refusal;
    tally.refused += report.refused;
}

// One step of nice value, through the process the target still names.
void changePriority(const ProcessActions& actions, const ProcessRef& target, bool lower, ActionTally& tally) {
    ActionReport skipped;
    if (!actions.claim(target, skipped)) {
        add(tally, skipped);
        return;
    }
    errno = 0;
    const int now = ::getpriority(PRIO_PROCESS, static_cast<id_t>(target.pid));
    int result = -1;
    if (now != -1 || errno == 0)
        result = ::setpriority(PRIO_PROCESS, static_cast<id_t>(target.pid),
                               lower ? std::min(now + 1, 19) : std::max(now - 1, -20));
    if (result == 0) {
        ++tally.done;
    } else if (errno == ESRCH) {
        ++tally.gone;
    } else if (tally.refused++ == 0) {
        tally.refusal = std::strerror(errno);
    }
}

}  // namespace

std::string carryOutConfirmation(const ProcessActions& actions, const Confirmation& c) {
    ActionTally tally;
    std::vector<ProcessRef> targets;
    for (size_t i = 0; i < c.targets.size() && i < c.chosen.size(); ++i) {
        if (!c.chosen[i]) continue;
        const Target& t = c.targets[i];
        // Another user's, or one whose figures were estimated: never chosen, never sent.
        if (!t.own) {
            ++tally.notOwn;
            continue;
        }
        targets.push_back({t.pid, t.startTime, t.uid});
    }
    const int signal = signalFor(c.action);
    if (signal != 0) {
        add(tally, actions.signal(targets, signal));
    } else {
        for (const ProcessRef& target : targets)
            changePriority(actions, target, c.action == Action::lowerPriority, tally);
    }
    return actionReport(c.action, tally);
}

std::string actionReport(Action action, const ActionTally& t) {
    std::string text;
    switch (action) {
        case Action::quit: text = "Asked " + processes(t.done) + " to quit"; break;
        case Action::forceQuit: text = "Ended " + processes(t.done); break;
        case Action::stop: text = "Stopped " + processes(t.done); break;
        case Action::resume: text = "Continued " + processes(t.done); break;
        case Action::lowerPriority: text = "Lowered the priority of " + processes(t.done); break;
        case Action::raisePriority: text = "Raised the priority of " + processes(t.done); break;
    }
    if (t.gone) text += "; " + std::to_string(t.gone) + (t.gone == 1 ? " was" : " were") + " already gone";
    if (t.notOwn)
        text += "; " + std::to_string(t.notOwn) + (t.notOwn == 1 ? " belongs" : " belong") + " to another user and " +
                (t.notOwn == 1 ? "was" : "were") + " left alone";
    if (t.refused) text += "; " + std::to_string(t.refused) + " refused (" + t.refusal + ")";
    return text + ".";
}

}  // namespace qm::cli::live
