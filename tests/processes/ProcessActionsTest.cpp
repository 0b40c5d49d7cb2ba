// Actions reach exactly the processes chosen: checked against a made-up platform for
// every way a pid can stop naming the chosen process, and against real children.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <map>

#include "processes/ProcessActions.h"
#include "processes/Sources.h"

namespace qm {
namespace {

struct FakeProcess {
    uint64_t startTime = 0;
    uint32_t uid = 1000;
    int sendError = 0;  // what the kernel answers a signal
    bool obeys = true;  // ends on SIGTERM
    std::vector<int> received;
};

FakeProcess running(uint64_t startTime, uint32_t uid = 1000, int sendError = 0, bool obeys = true) {
    FakeProcess p;
    p.startTime = startTime;
    p.uid = uid;
    p.sendError = sendError;
    p.obeys = obeys;
    return p;
}

class FakePort : public ProcessPort {
public:
    std::map<int32_t, FakeProcess> table;

    std::unique_ptr<ProcessHandle> open(int32_t pid) override {
        if (!table.contains(pid)) return nullptr;
        return std::make_unique<Handle>(*this, pid);
    }
    uint32_t ownUID() const override { return 1000; }
    int32_t ownPID() const override { return 500; }

private:
    class Handle : public ProcessHandle {
    public:
        Handle(FakePort& port, int32_t pid) : port_(port), pid_(pid) {}
        std::optional<ProcessIdentity> identity() override {
            auto it = port_.table.find(pid_);
            if (it == port_.table.end()) return std::nullopt;
            return ProcessIdentity{it->second.startTime, it->second.uid};
        }
        int send(int signal) override {
            FakeProcess& p = port_.table.at(pid_);
            if (p.sendError != 0) return p.sendError;
            p.received.push_back(signal);
            return 0;
        }
        bool waitForExit(double) override {
            const FakeProcess& p = port_.table.at(pid_);
            return p.obeys || (!p.received.empty() && p.received.back() == SIGKILL);
        }

    private:
        FakePort& port_;
        int32_t pid_;
    };
};

TEST(ProcessActionsTest, OnlyTheChosenLifetimesOfThisUserAreSignalled) {
    auto port = std::make_shared<FakePort>();
    port->table[100] = running(7000);
    port->table[101] = running(7100, 1000, 0, false);  // ignores SIGTERM
    port->table[102] = running(9999);                  // the pid went to a newer process
    port->table[103] = running(7300, 0);               // became root's (setuid) since it was chosen
    port->table[104] = running(7400, 1000, EPERM);
    port->table[105] = running(7500, 1000, ESRCH);  // ended between the check and the signal
    port->table[106] = running(7600, 1001);
    port->table[1] = running(1);
    port->table[500] = running(5000);
    ProcessActions actions(port);

    const std::vector<ProcessRef> chosen{
        {100, 7000, 1000}, {100, 7000, 1000},  // listed twice: signalled once
        {101, 7100, 1000}, {102, 7200, 1000}, {103, 7300, 1000},
        {104, 7400, 1000}, {105, 7500, 1000}, {106, 7600, 1001},  // another user's
        {107, 7700, 1000},                                        // gone
        {108, 0, 1000},                                           // start unknown: cannot be told from a newcomer
        {1, 1, 1000},      {500, 5000, 1000},                     // init, and Quillmere itself
    };
    port->table[108] = running(0);
    ActionReport report = actions.quit(chosen);
    EXPECT_EQ(port->table[100].received, std::vector<int>{SIGTERM});
    EXPECT_EQ(port->table[101].received, std::vector<int>{SIGTERM});
    for (int32_t pid : {102, 103, 106, 108, 1, 500}) EXPECT_TRUE(port->table[pid].received.empty()) << pid;
    EXPECT_EQ(report.ended, 1);
    EXPECT_EQ(report.stillRunning, 1);
    EXPECT_EQ(report.gone, 4);     // 102, 105, 107, 108
    EXPECT_EQ(report.notOwn, 2);   // 103, 106
    EXPECT_EQ(report.refused, 3);  // 104, init, itself
    EXPECT_EQ(report.total(), 11);
    EXPECT_EQ(report.text(),
              "Ended 1 process; 1 is still running; 4 were already gone; 2 belong to other users and were left alone; "
              "3 could not be signalled (" +
                  std::string(std::strerror(EPERM)) + ").");

    // The one that ignored the polite request gets the forced signal, and ends.
    report = actions.forceQuit({{101, 7100, 1000}});
    EXPECT_EQ(port->table[101].received, (std::vector<int>{SIGTERM, SIGKILL}));
    EXPECT_EQ(report.text(), "Ended 1 process.");

    // Nothing reached: said as such, never as an ending.
    EXPECT_EQ(actions.quit({{107, 1, 1000}, {106, 7600, 1001}}).text(),
              "No process was signalled: 1 was already gone; 1 belongs to another user and was left alone.");
    EXPECT_EQ(actions.quit({}).text(), "No process was chosen.");
    EXPECT_EQ(actions.signal({{100, 7000, 1000}}, SIGSTOP).text(), "Signalled 1 process.");
}

#ifdef __linux__
// A child running `sleep`, with SIGTERM ignored when asked (the disposition survives exec).
pid_t startSleeper(bool ignoreTerm = false) {
    pid_t pid = ::fork();
    if (pid == 0) {
        if (ignoreTerm) ::signal(SIGTERM, SIG_IGN);
        ::execl("/bin/sleep", "sleep", "30", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    return pid;
}

// The signal that ended the child; -1 when it has not ended.
int endingSignal(pid_t pid) {
    int status = 0;
    if (::waitpid(pid, &status, WNOHANG) != pid) return -1;
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

TEST(ProcessActionsTest, RealChildrenAsTheProcessListSawThem) {
    const pid_t first = startSleeper(), second = startSleeper(), stubborn = startSleeper(true);
    ASSERT_GT(first, 0);
    ASSERT_GT(second, 0);
    ASSERT_GT(stubborn, 0);
    ::usleep(50'000);  // past exec, so the list shows them as sleep
    // The targets come from the process list, as the user saw them.
    std::map<int32_t, ProcessRef> seen;
    for (const AppGroup& g : makeProcessListSource()->read(false).groups)
        for (const ProcessSample& p : g.processes)
            if (p.pid == first || p.pid == second || p.pid == stubborn) seen[p.pid] = refOf(p);
    ASSERT_EQ(seen.size(), 3u);
    ProcessActions actions = ProcessActions::system();

    // The second as if its pid had gone to a newer process: left alone.
    ProcessRef changed = seen[second];
    changed.startTime += 10'000;
    ActionReport report = actions.quit({seen[first], changed, seen[stubborn]}, 0.5);
    EXPECT_EQ(report.text(), "Ended 1 process; 1 is still running; 1 was already gone.");
    EXPECT_EQ(endingSignal(first), SIGTERM);
    EXPECT_EQ(endingSignal(second), -1);
    EXPECT_EQ(endingSignal(stubborn), -1);

    // Force Quit ends the one that ignores the polite request; the first, reaped, is gone.
    report = actions.forceQuit({seen[stubborn], seen[first]});
    EXPECT_EQ(report.text(), "Ended 1 process; 1 was already gone.");
    EXPECT_EQ(endingSignal(stubborn), SIGKILL);

    ::kill(second, SIGKILL);
    ::waitpid(second, nullptr, 0);
}
#endif

}  // namespace
}  // namespace qm
