// Ending processes the user chose, and only those. Every action carries ProcessRefs
// (pid, start time, owner) taken from the snapshot the user saw or the event that was
// detected; just before each signal the pid is opened and checked again, and a pid
// that has ended, now names another process or belongs to someone else is skipped
// and counted instead of signalled. The same code serves the desktop app, the
// notifications and the command line; the report says what happened in plain words.
//
// Blocking: a quit waits (up to its limit) for the processes to end so the report can
// say whether they did; call it away from the interface's thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

// What a pid names right now.
struct ProcessIdentity {
    uint64_t startTime = 0;  // as ProcessSample::startTime
    uint32_t uid = 0;        // the owner the process reader reports
};

// One running process, held so that a signal sent through it reaches that process
// and no other, whoever gets its pid afterwards (a pidfd on Linux).
class ProcessHandle {
public:
    virtual ~ProcessHandle() = default;
    // Its start time and owner; none once it has ended.
    virtual std::optional<ProcessIdentity> identity() = 0;
    // 0, or the errno of the failure (ESRCH: it has ended).
    virtual int send(int signal) = 0;
    // Waits at most `seconds` for it to end; true when it has.
    virtual bool waitForExit(double seconds) = 0;
};

// The platform under the actions (defined in linux/ or darwin/; tests make their own).
class ProcessPort {
public:
    virtual ~ProcessPort() = default;
    // The process that has this pid now; none when there is none (or the processes on
    // show are not this machine's, read from a copied tree).
    virtual std::unique_ptr<ProcessHandle> open(int32_t pid) = 0;
    virtual uint32_t ownUID() const = 0;
    virtual int32_t ownPID() const = 0;
};

std::unique_ptr<ProcessPort> makeProcessPort();

// What one action did, counted per target.
struct ActionReport {
    int ended = 0;         // signalled and gone by the end of the wait
    int stillRunning = 0;  // a polite quit they have not obeyed (yet)
    int signalled = 0;     // a signal that ends nothing (stop, continue) reached them
    int gone = 0;          // had already ended, or the pid now names another process
    int notOwn = 0;        // another user's: left alone
    int refused = 0;       // the kernel, init or Quillmere itself, or the system said no
    std::string refusal;   // the system's reason for the first refusal, when there was one

    int total() const { return ended + stillRunning + signalled + gone + notOwn + refused; }
    // "Ended 1 process; 2 were already gone; 1 belongs to another user and was left alone."
    std::string text() const;
};

class ProcessActions {
public:
    explicit ProcessActions(std::shared_ptr<ProcessPort> port);
    // This machine's processes, for this user.
    static ProcessActions system();

    // SIGTERM to each target that is still the one chosen, then up to `wait` seconds
    // for them to end.
    ActionReport quit(const std::vector<ProcessRef>& targets, double wait = 3.0) const;
    // SIGKILL to each target that is still the one chosen; only after a confirmation.
    ActionReport forceQuit(const std::vector<ProcessRef>& targets, double wait = 2.0) const;
    // Any other signal (stop, continue), with no wait.
    ActionReport signal(const std::vector<ProcessRef>& targets, int signal) const;

    // The running process a target still names, or why it is left alone (counted into
    // `report`). For actions that are not signals, such as a priority change.
    std::unique_ptr<ProcessHandle> claim(const ProcessRef& target, ActionReport& report) const;

    uint32_t ownUID() const { return port_->ownUID(); }

private:
    ActionReport send(const std::vector<ProcessRef>& targets, int signal, std::optional<double> wait) const;

    std::shared_ptr<ProcessPort> port_;
};

}  // namespace qm
