#include "processes/ProcessActions.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <set>
#include <utility>

namespace qm {

namespace {

std::string count(int n, const char* one, const char* many) { return std::to_string(n) + (n == 1 ? one : many); }

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

std::string ActionReport::text() const {
    std::vector<std::string> parts;
    if (ended > 0) parts.push_back("Ended " + count(ended, " process", " processes"));
    if (signalled > 0) parts.push_back("Signalled " + count(signalled, " process", " processes"));
    if (stillRunning > 0) parts.push_back(count(stillRunning, " is still running", " are still running"));
    if (gone > 0) parts.push_back(count(gone, " was already gone", " were already gone"));
    if (notOwn > 0)
        parts.push_back(notOwn == 1 ? "1 belongs to another user and was left alone"
                                    : std::to_string(notOwn) + " belong to other users and were left alone");
    if (refused > 0)
        parts.push_back(count(refused, " could not be signalled", " could not be signalled") +
                        (refusal.empty() ? "" : " (" + refusal + ")"));
    if (parts.empty()) return "No process was chosen.";
    std::string text;
    if (ended == 0 && signalled == 0 && stillRunning == 0) text = "No process was signalled: ";
    for (size_t i = 0; i < parts.size(); ++i) text += (i == 0 ? "" : "; ") + parts[i];
    return text + ".";
}

ProcessActions::ProcessActions(std::shared_ptr<ProcessPort> port) : port_(std::move(port)) {}

ProcessActions ProcessActions::system() { return ProcessActions(std::shared_ptr<ProcessPort>(makeProcessPort())); }

std::unique_ptr<ProcessHandle> ProcessActions::claim(const ProcessRef& target, ActionReport& report) const {
    // pid 0 and 1 are the kernel and init; Quillmere does not end itself this way.
    if (target.pid <= 1 || target.pid == port_->ownPID()) {
        ++report.refused;
        return nullptr;
    }
    // Root may end anyone's process it chose; everyone else only their own.
    if (port_->ownUID() != 0 && target.uid != port_->ownUID()) {
        ++report.notOwn;
        return nullptr;
    }
    auto handle = port_->open(target.pid);
    auto now = handle ? handle->identity() : std::nullopt;
    // Another start time: the chosen process ended and the pid went to a new one.
    // An unknown start time cannot be told from a newcomer's, so it is not trusted.
    if (!now || target.startTime == 0 || now->startTime != target.startTime) {
        ++report.gone;
        return nullptr;
    }
    // The same process, now running as someone else (it changed its user).
    if (now->uid != target.uid) {
        ++report.notOwn;
        return nullptr;
    }
    return handle;
}

ActionReport ProcessActions::send(const std::vector<ProcessRef>& targets, int signal,
                                  std::optional<double> wait) const {
    ActionReport report;
    std::set<std::pair<int32_t, uint64_t>> seen;
    std::vector<std::unique_ptr<ProcessHandle>> reached;
    for (const ProcessRef& target : targets) {
        if (!seen.insert({target.pid, target.startTime}).second) continue;
        auto handle = claim(target, report);
        if (!handle) continue;
        const int error = handle->send(signal);
        if (error == 0) {
            reached.push_back(std::move(handle));
        } else if (error == ESRCH) {
            ++report.gone;
        } else {
            if (report.refused++ == 0) report.refusal = std::strerror(error);
        }
    }
    if (!wait) {
        report.signalled += static_cast<int>(reached.size());
        return report;
    }
    // One deadline for all: a group of many does not wait many times over.
    const auto start = std::chrono::steady_clock::now();
    for (auto& handle : reached) {
        if (handle->waitForExit(std::max(0.0, *wait - secondsSince(start))))
            ++report.ended;
        else
            ++report.stillRunning;
    }
    return report;
}

ActionReport ProcessActions::quit(const std::vector<ProcessRef>& targets, double wait) const {
    return send(targets, SIGTERM, wait);
}

ActionReport ProcessActions::forceQuit(const std::vector<ProcessRef>& targets, double wait) const {
    return send(targets, SIGKILL, wait);
}

ActionReport ProcessActions::signal(const std::vector<ProcessRef>& targets, int signal) const {
    return send(targets, signal, std::nullopt);
}

}  // namespace qm
