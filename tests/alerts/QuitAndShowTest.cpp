// Quit App and Show in Quillmere as this machine does them: a polite SIGTERM to the
// user's own processes only, and the desktop app started with --show KEY.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "PrivateBus.h"
#include "notify/AlertQuit.h"
#include "notify/DesktopAppLauncher.h"
#include "processes/PoliteQuit.h"
#include "processes/Sources.h"

namespace qm {
namespace {

// A child that sleeps until it is signalled.
pid_t startSleeper() {
    pid_t pid = ::fork();
    if (pid == 0) {
        ::execl("/bin/sleep", "sleep", "30", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    return pid;
}

// The signal that ended the child, 0 when it exited normally, -1 when it is still
// running after `seconds`.
int endingSignal(pid_t pid, double seconds) {
    int status = 0;
    pid_t done = 0;
    testing::eventually([&] { return (done = ::waitpid(pid, &status, WNOHANG)) != 0; }, seconds);
    if (done != pid) return -1;
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

// The child as the process list sees it (with its start time), or an empty sample.
ProcessSample listed(pid_t pid) {
    for (const AppGroup& g : makeProcessListSource()->read(false).groups)
        for (const ProcessSample& p : g.processes)
            if (p.pid == pid) return p;
    return {};
}

TEST(PoliteQuitTest, AsksTheUsersOwnRealChildToQuitWithSIGTERMAndSaysSo) {
    pid_t child = startSleeper();
    ASSERT_GT(child, 0);
    ::usleep(50'000);
    AppGroup group;
    group.id = "app:/usr/share/applications/sleepy.desktop";
    group.processes = {listed(child)};
    EXPECT_EQ(askGroupToQuit(group), "Ended 1 process.");
    EXPECT_EQ(endingSignal(child, 5), SIGTERM);
}

// Nothing runs here; counts how often a pid is looked up.
struct EmptyPort : ProcessPort {
    int opened = 0;
    std::unique_ptr<ProcessHandle> open(int32_t) override {
        ++opened;
        return nullptr;
    }
    uint32_t ownUID() const override { return 1000; }
    int32_t ownPID() const override { return 1; }
};

TEST(QuitForAlertTest, AnAppQuitsAsAnAppAnythingElseOnlyThroughWhatTheEventRecorded) {
    auto port = std::make_shared<EmptyPort>();
    const ProcessActions actions(port);
    std::vector<std::string> appsAsked;
    auto quitApp = [&](const std::string& key) {
        appsAsked.push_back(key);
        return std::string("Asked Editor to quit.");
    };
    AlertCenter::QuitRequest app{"app:/usr/share/applications/editor.desktop", "Editor", {{5, 50, 1000}}};
    EXPECT_EQ(quitForAlert(app, actions, quitApp, true), "Asked Editor to quit.");
    EXPECT_EQ(appsAsked, std::vector<std::string>{app.appKey});
    EXPECT_EQ(port->opened, 0);

    // A name group: the recorded process, checked (here it is gone), never the name.
    AlertCenter::QuitRequest named{"proc:python3", "python3", {{7, 70, 1000}}};
    EXPECT_EQ(quitForAlert(named, actions, quitApp, true), "No process was signalled: 1 was already gone.");
    EXPECT_EQ(port->opened, 1);
    named.processes.clear();
    EXPECT_EQ(quitForAlert(named, actions, quitApp, true),
              "Nothing was quit: this alert does not say which processes caused it.");
    // Where only applications are asked to quit, a process is left alone.
    named.processes = {{7, 70, 1000}};
    EXPECT_EQ(quitForAlert(named, actions, quitApp, false), "python3 is not an application, so it was left alone.");
    EXPECT_EQ(port->opened, 1);
    EXPECT_EQ(appsAsked.size(), 1u);
}

class TempFolder {
public:
    TempFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "quillmere-alerts-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    void write(const std::string& name, const std::string& text, bool executable) const {
        std::ofstream(path + "/" + name) << text;
        ::chmod((path + "/" + name).c_str(), executable ? 0755 : 0644);
    }
    std::string path;
};

TEST(ShowInQuillmereTest, FindsTheDesktopAppBesideThisProgramThenOnThePath) {
    TempFolder beside, onPath, notExecutable;
    const std::string script = "#!/bin/sh\nexit 0\n";
    notExecutable.write("quillmere-app", script, false);
    onPath.write("quillmere-app", script, true);
    EXPECT_EQ(findDesktopApp(beside.path, notExecutable.path + "::" + onPath.path), onPath.path + "/quillmere-app");
    beside.write("quillmere-app", script, true);
    EXPECT_EQ(findDesktopApp(beside.path, onPath.path), beside.path + "/quillmere-app");
    EXPECT_EQ(findDesktopApp("", notExecutable.path), std::nullopt);
    EXPECT_EQ(findDesktopApp("", ""), std::nullopt);
}

TEST(ShowInQuillmereTest, StartsTheDesktopAppWithTheGroupKey) {
    TempFolder folder;
    const std::string out = folder.path + "/arguments";
    // The fake app writes its arguments, one a line, then renames the file into place
    // so the test never reads half of it.
    folder.write("quillmere-app",
                 "#!/bin/sh\nfor a in \"$@\"; do echo \"$a\"; done > '" + out + ".tmp'\nmv '" + out + ".tmp' '" + out +
                     "'\n",
                 true);
    auto readArguments = [&] {
        std::ifstream in(out);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    };
    ASSERT_TRUE(launchDesktopApp(folder.path + "/quillmere-app", std::string("app:/opt/My App/x.desktop")));
    ASSERT_TRUE(testing::eventually([&] { return std::filesystem::exists(out); }));
    EXPECT_EQ(readArguments(), "--show\napp:/opt/My App/x.desktop\n");

    std::filesystem::remove(out);
    ASSERT_TRUE(launchDesktopApp(folder.path + "/quillmere-app", std::nullopt));
    ASSERT_TRUE(testing::eventually([&] { return std::filesystem::exists(out); }));
    EXPECT_EQ(readArguments(), "");
}

}  // namespace
}  // namespace qm
