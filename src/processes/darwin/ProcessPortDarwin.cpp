// Actions on macOS: the start time and owner from proc_pidinfo (the same figures the
// process list reports), checked just before kill(2). macOS has no handle that pins a
// process, so a pid reused in the moment between the check and the signal is the
// one gap left; pids are handed out in order, which makes that a matter of a full
// wrap-around within microseconds.
#include <libproc.h>
#include <signal.h>
#include <sys/proc.h>
#include <sys/proc_info.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "processes/ProcessActions.h"

namespace qm {

namespace {

class DarwinProcessHandle : public ProcessHandle {
public:
    explicit DarwinProcessHandle(int32_t pid) : pid_(pid) {}

    std::optional<ProcessIdentity> identity() override {
        struct proc_bsdinfo info {};
        if (proc_pidinfo(pid_, PROC_PIDTBSDINFO, 0, &info, sizeof info) != static_cast<int>(sizeof info))
            return std::nullopt;
        if (info.pbi_status == SZOMB) return std::nullopt;
        // Effective uid, as the process list's kinfo_proc reports it.
        return ProcessIdentity{info.pbi_start_tvsec * 1'000'000 + info.pbi_start_tvusec, info.pbi_uid};
    }

    int send(int signal) override { return ::kill(pid_, signal) == 0 ? 0 : errno; }

    bool waitForExit(double seconds) override {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        for (;;) {
            if (!identity()) return true;
            if (std::chrono::steady_clock::now() >= deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

private:
    int32_t pid_;
};

class DarwinProcessPort : public ProcessPort {
public:
    std::unique_ptr<ProcessHandle> open(int32_t pid) override {
        if (pid <= 0) return nullptr;
        return std::make_unique<DarwinProcessHandle>(pid);
    }
    uint32_t ownUID() const override { return static_cast<uint32_t>(::getuid()); }
    int32_t ownPID() const override { return static_cast<int32_t>(::getpid()); }
};

}  // namespace

std::unique_ptr<ProcessPort> makeProcessPort() { return std::make_unique<DarwinProcessPort>(); }

}  // namespace qm
