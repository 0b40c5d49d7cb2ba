#include "shell/ProcessQuit.h"

#include <unistd.h>

#include <algorithm>

#include "processes/KernelGroup.h"

namespace qm {

namespace {
std::string processes(size_t n) { return std::to_string(n) + (n == 1 ? " process" : " processes"); }
}  // namespace

ProcessQuit ProcessQuit::forThisProcess() {
    return ProcessQuit(static_cast<uint32_t>(::getuid()), static_cast<int32_t>(::getpid()));
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

QuitPlan ProcessQuit::plan(const AppGroup& group, std::optional<int32_t> pid, bool force) const {
    QuitPlan plan;
    plan.listed = targets(group, pid);
    std::stable_sort(plan.listed.begin(), plan.listed.end(),
                     [](const ProcessSample& a, const ProcessSample& b) { return a.cpu > b.cpu; });
    for (const ProcessSample& p : plan.listed) plan.choosable.push_back(!refusal(p, group));
    plan.chosen = plan.choosable;
    plan.ask = force;
    // Namesakes are separate programs: the busiest is chosen, the others are offered.
    const bool namesakes = !pid && !group.id.starts_with("app:") && plan.listed.size() > 1;
    if (namesakes) {
        plan.ask = true;
        bool first = true;
        for (size_t i = 0; i < plan.chosen.size(); ++i) {
            plan.chosen[i] = plan.chosen[i] && first;
            if (plan.chosen[i]) first = false;
        }
    }
    return plan;
}

std::string quitText::forceQuestion(const std::string& name, size_t count) {
    return count > 1 ? "Force quit which of the " + std::to_string(count) + " " + name + " processes?"
                     : "Force quit " + name + "?";
}

std::string quitText::quitQuestion(const std::string& name, size_t count) {
    return "Quit which of the " + std::to_string(count) + " " + name + " processes?";
}

std::string quitText::allOf(size_t count) { return "All " + std::to_string(count); }

std::string quitText::working(bool force, size_t count) {
    return force ? "Force quitting " + processes(count) + "…" : "Asking " + processes(count) + " to quit…";
}

}  // namespace qm
