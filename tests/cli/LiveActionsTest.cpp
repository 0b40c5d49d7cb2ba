// The terminal view's confirmation carried out: only the chosen processes of the user
// that are still the ones shown, whatever the action.
#include <gtest/gtest.h>

#include <csignal>
#include <map>

#include "cli/LiveActions.h"

namespace qm::cli::live {
namespace {

// Processes by pid with their start times; records what they are sent.
class RecordingPort : public ProcessPort {
public:
    std::map<int32_t, uint64_t> running;
    std::vector<std::pair<int32_t, int>> sent;

    std::unique_ptr<ProcessHandle> open(int32_t pid) override {
        if (!running.contains(pid)) return nullptr;
        return std::make_unique<Handle>(*this, pid);
    }
    uint32_t ownUID() const override { return 1000; }
    int32_t ownPID() const override { return 1; }

private:
    struct Handle : ProcessHandle {
        Handle(RecordingPort& port, int32_t pid) : port(port), pid(pid) {}
        std::optional<ProcessIdentity> identity() override { return ProcessIdentity{port.running.at(pid), 1000}; }
        int send(int signal) override {
            port.sent.emplace_back(pid, signal);
            return 0;
        }
        bool waitForExit(double) override { return true; }
        RecordingPort& port;
        int32_t pid;
    };
};

Target target(int32_t pid, uint64_t startTime, bool own = true) {
    Target t;
    t.pid = pid;
    t.startTime = startTime;
    t.uid = own ? 1000 : 0;
    t.own = own;
    return t;
}

TEST(LiveActionsTest, OnlyChosenOwnProcessesThatAreStillTheOnesShownAreSignalled) {
    auto port = std::make_shared<RecordingPort>();
    port->running = {{10, 100}, {11, 999}, {12, 120}, {13, 130}};
    const ProcessActions actions(port);
    Confirmation c;
    c.action = Action::forceQuit;
    // 11's pid now names a newer process; 12 is another user's; 13 was not chosen; 14 ended.
    c.targets = {target(10, 100), target(11, 110), target(12, 120, false), target(13, 130), target(14, 140)};
    c.chosen = {true, true, true, false, true};
    EXPECT_EQ(carryOutConfirmation(actions, c),
              "Ended 1 process; 2 were already gone; 1 belongs to another user and was left alone.");
    EXPECT_EQ(port->sent, (std::vector<std::pair<int32_t, int>>{{10, SIGKILL}}));

    port->sent.clear();
    c.action = Action::stop;
    c.chosen = {false, false, false, true, false};
    EXPECT_EQ(carryOutConfirmation(actions, c), "Stopped 1 process.");
    EXPECT_EQ(port->sent, (std::vector<std::pair<int32_t, int>>{{13, SIGSTOP}}));

    // A priority change is no signal, but is checked the same way first.
    port->sent.clear();
    c.action = Action::lowerPriority;
    c.chosen = {false, true, false, false, true};
    EXPECT_EQ(carryOutConfirmation(actions, c), "Lowered the priority of 0 processes; 2 were already gone.");
    EXPECT_TRUE(port->sent.empty());
}

}  // namespace
}  // namespace qm::cli::live
