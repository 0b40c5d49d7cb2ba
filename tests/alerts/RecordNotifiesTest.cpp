// End to end: `quillmere record` with a low CPU threshold sees a busy loop, posts a
// notification on the test's own bus, and the loop ends when the test answers
// "QUIT_APP", as a user pressing Quit App would.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "PrivateBus.h"
#include "processes/PoliteQuit.h"

extern char** environ;

namespace qm {
namespace {

using testing::FakeNotificationServer;
using testing::PrivateBus;

class TempFolder {
public:
    TempFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "quillmere-record-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string path;
};

// A child process with its own environment and its output in a file; stopped with
// SIGTERM (then SIGKILL) when the test is done with it.
class Child {
public:
    Child(std::vector<std::string> arguments, const std::vector<std::string>& environment, const std::string& output) {
        std::vector<std::string> env = environment;
        for (char** e = environ; *e != nullptr; ++e) env.emplace_back(*e);  // earlier entries win
        std::vector<char*> argv, envp;
        for (auto& a : arguments) argv.push_back(a.data());
        argv.push_back(nullptr);
        for (auto& e : env) envp.push_back(e.data());
        envp.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
        if (::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Child() { stop(); }

    pid_t pid() const { return pid_; }
    int exitCode() const { return exitCode_; }  // once ended; -1 after a signal
    // The signal that ended it within `seconds`, 0 for a normal exit, none while it runs.
    std::optional<int> waitForEnd(double seconds) {
        if (ended_) return ended_;
        int status = 0;
        pid_t done = 0;
        testing::eventually([&] { return (done = ::waitpid(pid_, &status, WNOHANG)) != 0; }, seconds);
        if (done != pid_) return std::nullopt;
        ended_ = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return ended_;
    }
    void stop() {
        if (pid_ <= 0 || ended_) return;
        ::kill(pid_, SIGTERM);
        if (!waitForEnd(10)) {
            ::kill(pid_, SIGKILL);
            waitForEnd(10);
        }
    }

private:
    pid_t pid_ = -1;
    std::optional<int> ended_;
    int exitCode_ = -1;
};

int runQuillmere(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                 const std::string& output) {
    std::vector<std::string> all{QM_BINARY};
    all.insert(all.end(), arguments.begin(), arguments.end());
    Child child(all, environment, output);
    child.waitForEnd(30);
    return child.exitCode();
}

TEST(RecordNotifiesTest, RecorderPostsOnTheBusAndQuitAppEndsTheBusyLoop) {
    PrivateBus bus;
    if (!bus.running()) GTEST_SKIP() << "no private session bus: " << bus.problem();
    TempFolder folder;
    const std::string log = folder.path + "/output";
    const std::vector<std::string> environment{"XDG_CONFIG_HOME=" + folder.path + "/config",
                                               "XDG_DATA_HOME=" + folder.path + "/data",
                                               "DBUS_SESSION_BUS_ADDRESS=" + bus.address()};
    // Any app at 10 % of a core or more counts as running away, at once.
    ASSERT_EQ(runQuillmere({"config", "set", "alert.highCPU.threshold", "10"}, environment, log), 0);
    ASSERT_EQ(runQuillmere({"config", "set", "alert.highCPU.minutes", "0"}, environment, log), 0);

    // The busy loop runs under a name of its own, so its group holds nothing else.
    const std::string name = "qm-busy-" + std::to_string(::getpid());
    const std::string shell = folder.path + "/" + name;
    std::filesystem::copy_file("/bin/sh", shell);
    Child loop({shell, "-c", "while :; do :; done"}, {}, log);
    ASSERT_GT(loop.pid(), 0);
    const std::string key = "proc:" + name;
    const bool ownGroup = testing::eventually([&] {
        auto group = runningGroup(key);
        return group && group->processes.size() == 1 && group->processes[0].pid == loop.pid();
    });
    if (!ownGroup) GTEST_SKIP() << "the desktop groups this test's processes under an app; Quit App would reach it";

    FakeNotificationServer server(bus.address(), {"actions", "body"});
    Child recorder({QM_BINARY, "record", "--quiet", "--db", folder.path + "/history.sqlite"}, environment, log);
    ASSERT_GT(recorder.pid(), 0);

    // Other busy programs on this machine may be announced too; only the loop is answered.
    std::optional<FakeNotificationServer::Notification> ours;
    testing::eventually(
        [&] {
        for (const auto& n : server.notifications())
            if (n.summary == name + " is using a lot of CPU") ours = n;
        return ours.has_value();
        },
        25);
    ASSERT_TRUE(ours) << "no notification for the busy loop";
    EXPECT_EQ(ours->actions[0], "QUIT_APP");
    server.invokeAction(ours->id, "QUIT_APP");
    EXPECT_EQ(loop.waitForEnd(10), SIGTERM);

    recorder.stop();
    EXPECT_EQ(recorder.exitCode(), 0);  // the recorder itself stopped cleanly
}

std::string readAll(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(RecordNotifiesTest, AlertsTestPostsOneSampleAndConfigListsTheSwitches) {
    PrivateBus bus;
    if (!bus.running()) GTEST_SKIP() << "no private session bus: " << bus.problem();
    TempFolder folder;
    const std::vector<std::string> environment{"XDG_CONFIG_HOME=" + folder.path + "/config",
                                               "DBUS_SESSION_BUS_ADDRESS=" + bus.address()};
    // No notification service yet: exit 1 and one line saying why.
    const std::string failed = folder.path + "/failed";
    EXPECT_EQ(runQuillmere({"alerts", "test"}, environment, failed), 1);
    EXPECT_EQ(readAll(failed), "Quillmere: notifications are off: no notification service on the session bus\n");

    FakeNotificationServer server(bus.address(), {"actions", "body"});
    const std::string posted = folder.path + "/posted";
    EXPECT_EQ(runQuillmere({"alerts", "test"}, environment, posted), 0) << readAll(posted);
    ASSERT_EQ(server.notifications().size(), 1u);
    auto sample = server.notifications()[0];
    EXPECT_EQ(sample.summary, "Quillmere notifications work");
    EXPECT_EQ(sample.body.find("Mac"), std::string::npos) << sample.body;
    EXPECT_EQ(sample.actions, (std::vector<std::string>{"default", "Show in Quillmere"}));  // nothing to quit

    const std::string listed = folder.path + "/list";
    ASSERT_EQ(runQuillmere({"config", "set", "alert.thermal", "false"}, environment, listed), 0);
    ASSERT_EQ(runQuillmere({"config", "list"}, environment, listed), 0);
    const std::string list = readAll(listed);
    for (const char* line : {"alert.highCPU", "An app runs away with the CPU", "alert.memoryLeak",
                             "An app's memory keeps growing (possible leak)",
                             "Your computer gets hot and starts throttling", "Memory pressure becomes high"})
        EXPECT_NE(list.find(line), std::string::npos) << line << " in\n" << list;
    EXPECT_NE(list.find("false           Your computer gets hot"), std::string::npos) << list;
}

}  // namespace
}  // namespace qm
