#include "cli/LiveActions.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "core/FileRead.h"
#include "core/Paths.h"
#ifdef __linux__
#include "processes/linux/ProcStat.h"
#endif

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

class SystemActions : public ProcessActions {
public:
    std::optional<uint64_t> identity(int32_t pid) override {
#ifdef __linux__
        if (pid <= 0) return std::nullopt;
        auto text = readFile(systemRoot() + "/proc/" + std::to_string(pid) + "/stat", 4096);
        if (!text) return std::nullopt;
        auto stat = parseProcStat(*text);
        if (!stat) return std::nullopt;
        return stat->startTime;
#else
        (void)pid;
        return std::nullopt;
#endif
    }

    std::string carryOut(const Confirmation& c, const std::vector<std::optional<uint64_t>>& identities) override {
        ActionTally tally;
        const int signal = signalFor(c.action);
        for (size_t i = 0; i < c.targets.size(); ++i) {
            if (!c.chosen[i]) continue;
            const Target& t = c.targets[i];
            if (!t.own || t.pid == ::getpid()) {
                ++tally.notOwn;
                continue;
            }
            // Checked again just before the signal: a pid that now names another
            // process (or none) is left alone.
            if (i >= identities.size() || !identities[i] || identity(t.pid) != identities[i]) {
                ++tally.gone;
                continue;
            }
            int result = 0;
            if (signal != 0) {
                result = ::kill(t.pid, signal);
            } else {
                errno = 0;
                const int now = ::getpriority(PRIO_PROCESS, static_cast<id_t>(t.pid));
                if (now == -1 && errno != 0) {
                    result = -1;
                } else {
                    const int next = c.action == Action::lowerPriority ? std::min(now + 1, 19) : std::max(now - 1, -20);
                    result = ::setpriority(PRIO_PROCESS, static_cast<id_t>(t.pid), next);
                }
            }
            if (result == 0) {
                ++tally.done;
            } else if (errno == ESRCH) {
                ++tally.gone;
            } else {
                if (tally.refused++ == 0) tally.refusal = std::strerror(errno);
            }
        }
        return actionReport(c.action, tally);
    }
};

}  // namespace

std::unique_ptr<ProcessActions> systemActions() { return std::make_unique<SystemActions>(); }

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
