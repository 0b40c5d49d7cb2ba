#include "shell/ProcessQuit.h"

#include <unistd.h>
#include <cerrno>
#include <csignal>

#include "processes/KernelGroup.h"

namespace qm {

namespace {
std::string notReached(int refused) {
    if (refused <= 0) return "";
    return refused == 1 ? " 1 process could not be reached."
                        : " " + std::to_string(refused) + " processes could not be reached.";
}
}  // namespace

ProcessQuit::ProcessQuit(uint32_t ownUID, int32_t ownPID, Sender sender)
    : ownUID_(ownUID), ownPID_(ownPID), sender_(std::move(sender)) {}

ProcessQuit ProcessQuit::system() {
    return ProcessQuit(static_cast<uint32_t>(::getuid()), static_cast<int32_t>(::getpid()),
                       [](int32_t pid, int signal) { return ::kill(pid, signal) == 0 ? 0 : errno; });
}

std::vector<ProcessSample> ProcessQuit::targets(const AppGroup& group, std::optional<int32_t> pid) {
    if (!pid) return group.processes;
    for (const ProcessSample& p : group.processes)
        if (p.pid == *pid) return {p};
    return {};
}

std::optional<std::string> ProcessQuit::refusal(const ProcessSample& process, const AppGroup& group) const {
    // pid 0 and 1 are the kernel and init: never ours to stop.
    if (isKernelGroup(group.id) || process.pid <= 1) return quitText::kernel;
    if (process.pid == ownPID_) return quitText::itself;
    if (process.uid != ownUID_ && ownUID_ != 0) return quitText::otherUser;
    return std::nullopt;
}

std::optional<std::string> ProcessQuit::refusal(const AppGroup& group,
                                                const std::vector<ProcessSample>& targets) const {
    if (targets.empty()) return quitText::vanished;
    std::optional<std::string> reason;
    for (const ProcessSample& p : targets) {
        auto why = refusal(p, group);
        if (!why) return std::nullopt;
        if (!reason) reason = why;
    }
    return reason;
}

ProcessQuit::Report ProcessQuit::send(const AppGroup& group, const std::vector<ProcessSample>& targets, int signal) {
    Report report;
    for (const ProcessSample& p : targets) {
        if (refusal(p, group)) {
            ++report.refused;
            continue;
        }
        const int error = sender_ ? sender_(p.pid, signal) : ESRCH;
        if (error == 0)
            ++report.signalled;
        else if (error == ESRCH)
            ++report.gone;
        else
            ++report.refused;
    }
    return report;
}

ProcessQuit::Report ProcessQuit::quit(const AppGroup& group, const std::vector<ProcessSample>& targets) {
    Report report = send(group, targets, SIGTERM);
    report.text = report.signalled > 0  ? quitText::asked(group.name, report.refused)
                  : report.refused == 0 ? std::string(quitText::vanished)
                                        : refusal(group, targets).value_or(quitText::otherUser);
    return report;
}

ProcessQuit::Report ProcessQuit::forceQuit(const AppGroup& group, const std::vector<ProcessSample>& targets) {
    Report report = send(group, targets, SIGKILL);
    report.text = report.signalled > 0  ? quitText::forced(group.name, report.refused)
                  : report.refused == 0 ? std::string(quitText::vanished)
                                        : refusal(group, targets).value_or(quitText::otherUser);
    return report;
}

std::string quitText::asked(const std::string& name, int refused) {
    return "Asked " + name + " to quit." + notReached(refused);
}

std::string quitText::forced(const std::string& name, int refused) {
    return "Force quit " + name + "." + notReached(refused);
}

}  // namespace qm
