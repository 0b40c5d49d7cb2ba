// Actions on Linux go through a pidfd: once opened it names that one process for
// good, so a signal sent through it can never reach a process that took the pid
// later. The start time and owner are read from /proc after the pidfd is opened and
// believed only when the pidfd still names a live process afterwards (while it lives,
// its pid cannot have been reused). Kernels before 5.3 have no pidfd: kill(2) after
// the same check, with the short gap between the two that implies.
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

#include "core/FileRead.h"
#include "core/Paths.h"
#include "processes/ProcessActions.h"
#include "processes/linux/BootTime.h"
#include "processes/linux/ProcStat.h"

namespace qm {

namespace {

int openPidfd(int32_t pid) { return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)); }

int sendThroughPidfd(int fd, int signal) {
    return static_cast<int>(::syscall(SYS_pidfd_send_signal, fd, signal, nullptr, 0));
}

// A zombie's files are still there, but the process has ended.
bool hasEnded(std::string_view stat) {
    const auto close = stat.rfind(')');
    if (close == std::string_view::npos || close + 2 >= stat.size()) return true;
    const char state = stat[close + 2];
    return state == 'Z' || state == 'X' || state == 'x';
}

class LinuxProcessHandle : public ProcessHandle {
public:
    LinuxProcessHandle(int32_t pid, int fd) : pid_(pid), fd_(fd) {}
    ~LinuxProcessHandle() override {
        if (fd_ >= 0) ::close(fd_);
    }
    LinuxProcessHandle(const LinuxProcessHandle&) = delete;
    LinuxProcessHandle& operator=(const LinuxProcessHandle&) = delete;

    std::optional<ProcessIdentity> identity() override {
        const std::string dir = "/proc/" + std::to_string(pid_);
        auto statText = readFile(dir + "/stat", 4096);
        auto statusText = readFile(dir + "/status", 16 * 1024);
        if (!statText || !statusText || hasEnded(*statText)) return std::nullopt;
        auto stat = parseProcStat(*statText);
        auto uid = parseStatusUID(*statusText);
        if (!stat || !uid) return std::nullopt;
        // Read before this check: a process alive now was alive then, with this pid.
        if (!alive()) return std::nullopt;
        return ProcessIdentity{startMicros(bootTime(""), stat->startTime, nanosPerClockTick()), *uid};
    }

    int send(int signal) override {
        const int result = fd_ >= 0 ? sendThroughPidfd(fd_, signal) : ::kill(pid_, signal);
        return result == 0 ? 0 : errno;
    }

    bool waitForExit(double seconds) override {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        for (;;) {
            const auto left = std::chrono::duration<double>(deadline - std::chrono::steady_clock::now()).count();
            if (fd_ >= 0) {
                // The pidfd becomes readable when the process ends.
                pollfd p{fd_, POLLIN, 0};
                const int ready = ::poll(&p, 1, static_cast<int>(std::max(0.0, left) * 1000));
                if (ready > 0) return true;
                if (ready == 0 || errno != EINTR) return false;
                continue;
            }
            if (!identity()) return true;
            if (left <= 0) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

private:
    bool alive() {
        // Signal 0 checks without sending; another user's process answers EPERM.
        const int result = fd_ >= 0 ? sendThroughPidfd(fd_, 0) : ::kill(pid_, 0);
        return result == 0 || errno == EPERM;
    }

    int32_t pid_;
    int fd_;
};

class LinuxProcessPort : public ProcessPort {
public:
    std::unique_ptr<ProcessHandle> open(int32_t pid) override {
        // Processes read from a copied tree are not this machine's: their pids mean nothing here.
        if (!systemRoot().empty() || pid <= 0) return nullptr;
        const int fd = openPidfd(pid);
        if (fd < 0 && errno == ESRCH) return nullptr;  // no such process; without pidfds, kill(2)
        return std::make_unique<LinuxProcessHandle>(pid, fd);
    }
    uint32_t ownUID() const override { return static_cast<uint32_t>(::getuid()); }
    int32_t ownPID() const override { return static_cast<int32_t>(::getpid()); }
};

}  // namespace

std::unique_ptr<ProcessPort> makeProcessPort() { return std::make_unique<LinuxProcessPort>(); }

}  // namespace qm
