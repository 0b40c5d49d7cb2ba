// Alerts on a real D-Bus: a private session bus started by the test, a notification
// server that records Notify calls and presses buttons, and the alert center posting
// through the freedesktop sink. Also what happens without a bus, without a service,
// with a service that never answers and with one that goes away.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "PrivateBus.h"
#include "history/AlertCenter.h"
#include "history/EventDetector.h"
#include "notify/PlatformNotifications.h"
#include "notify/linux/FreedesktopNotifications.h"
#include "processes/Sources.h"

namespace qm {
namespace {

using testing::FakeNotificationServer;
using testing::LogCapture;
using testing::PrivateBus;

const std::set<std::string> fullServer{"actions", "body", "body-markup", "persistence"};

TimelineEvent event(EventKind kind, int64_t severity, std::optional<std::string> appKey, std::string title,
                    std::string detail = "") {
    TimelineEvent e;
    e.kind = kind;
    e.severity = severity;
    e.title = std::move(title);
    e.detail = std::move(detail);
    e.appKey = std::move(appKey);
    return e;
}

TimelineEvent highCPU(const std::string& name) {
    return event(EventKind::highCPU, 2, "proc:" + name, name + " is using a lot of CPU",
                 "185% of a core for 3 min. This drains battery & heats your Mac.");
}

class NotificationBusTest : public ::testing::Test {
protected:
    void SetUp() override {
        bus = std::make_unique<PrivateBus>();
        if (!bus->running()) GTEST_SKIP() << "no private session bus: " << bus->problem();
    }

    // An alert center posting on the private bus; answers are handled where they arrive.
    void makeCenter(double callTimeout = 2.0, AlertQuitHook quitHook = {}) {
        FreedesktopNotifications::Options options;
        options.busAddress = bus->address();
        options.callTimeout = callTimeout;
        auto owned = std::make_unique<FreedesktopNotifications>(options);
        sink = owned.get();
        AlertCenter::Hooks hooks;
        hooks.quitApp = [this](const AlertCenter::QuitRequest& request, auto told) {
            {
                std::lock_guard guard(lock);
                quits.push_back(request.appKey);
            }
            told("");
        };
        if (quitHook) hooks.quitApp = std::move(quitHook);
        hooks.open = [this](const std::optional<std::string>& key) {
            std::lock_guard guard(lock);
            opens.push_back(key);
        };
        center = std::make_unique<AlertCenter>(std::move(owned), queue, hooks, &defaults, clock);
    }

    size_t answers() {
        std::lock_guard guard(lock);
        return quits.size() + opens.size();
    }

    std::unique_ptr<PrivateBus> bus;
    MemoryDefaults defaults;
    ManualClock clock;
    ManualQueue queue;
    FreedesktopNotifications* sink = nullptr;
    std::mutex lock;
    std::vector<std::string> quits;
    std::vector<std::optional<std::string>> opens;
    std::unique_ptr<AlertCenter> center;  // last: goes first, before what its hooks use
};

TEST_F(NotificationBusTest, RunawayAppsNotifyWithQuitAndShowOncePerHalfHour) {
    FakeNotificationServer server(bus->address(), fullServer);
    makeCenter();
    center->deliver(highCPU("yes"));
    clock.advance(20 * 60);
    center->deliver(highCPU("yes"));  // the same app 20 minutes later: held back
    center->deliver(highCPU("ffmpeg"));
    ASSERT_TRUE(server.waitForNotifications(2));
    ASSERT_TRUE(sink->waitUntilDelivered(5));
    auto sent = server.notifications();
    ASSERT_EQ(sent.size(), 2u);

    EXPECT_EQ(sent[0].appName, "Quillmere");
    EXPECT_EQ(sent[0].desktopEntry, "quillmere");
    EXPECT_EQ(sent[0].summary, "yes is using a lot of CPU");
    // Linux wording, and markup escaped for a server that reads the body as markup.
    EXPECT_EQ(sent[0].body, "185% of a core for 3 min. This drains battery &amp; heats your computer.");
    EXPECT_EQ(sent[0].urgency, 2);
    EXPECT_EQ(sent[0].expireTimeout, -1);
    EXPECT_EQ(sent[0].actions, (std::vector<std::string>{"QUIT_APP", "Quit App", "OPEN", "Show in Quillmere", "default",
                                                         "Show in Quillmere"}));
    EXPECT_EQ(sent[1].summary, "ffmpeg is using a lot of CPU");
    EXPECT_EQ(sent[1].actions.size(), 6u);
}

TEST_F(NotificationBusTest, OnlyHeavyPressureNotifiesAndHeatWithoutAnAppHasNoQuit) {
    FakeNotificationServer server(bus->address(), fullServer);
    makeCenter();
    center->deliver(event(EventKind::memoryPressure, 1, "proc:postgres", "Memory is getting tight"));
    center->deliver(event(EventKind::thermal, 2, std::nullopt, "Your Mac is running hot",
                          "macOS is slowing things down to cool off."));
    center->deliver(event(EventKind::memoryPressure, 2, "proc:postgres", "Memory is under heavy pressure"));
    center->deliver(event(EventKind::swap, 1, std::nullopt, "Your Mac is swapping to disk"));
    ASSERT_TRUE(server.waitForNotifications(2));
    ASSERT_TRUE(sink->waitUntilDelivered(5));
    auto sent = server.notifications();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].summary, "Your computer is running hot");
    EXPECT_EQ(sent[0].body, "The system is slowing things down to cool off.");
    EXPECT_EQ(sent[0].actions, (std::vector<std::string>{"default", "Show in Quillmere"}));
    EXPECT_EQ(sent[1].summary, "Memory is under heavy pressure");
    EXPECT_EQ(sent[1].actions, (std::vector<std::string>{"default", "Show in Quillmere"}));
}

TEST_F(NotificationBusTest, AServerWithoutActionsGetsNoButtons) {
    FakeNotificationServer server(bus->address(), {"body"});
    makeCenter();
    center->deliver(highCPU("a&b"));
    ASSERT_TRUE(server.waitForNotifications(1));
    auto sent = server.notifications();
    EXPECT_TRUE(sent[0].actions.empty());
    // No markup capability: the text goes as it is.
    EXPECT_EQ(sent[0].body, "185% of a core for 3 min. This drains battery & heats your computer.");
}

// A child running a copy of sh under `name`, with `script`.
pid_t startScript(const std::string& copy, const std::string& name, const char* script) {
    pid_t child = ::fork();
    if (child == 0) {
        ::execl(copy.c_str(), name.c_str(), "-c", script, static_cast<char*>(nullptr));
        ::_exit(127);
    }
    return child;
}

TEST_F(NotificationBusTest, QuitAppEndsTheBusyProcessOfTheAlertAndLeavesItsIdleNamesake) {
    // Two processes of one name of their own: one spins, the other idles.
    const std::string name = "qm-busy-" + std::to_string(::getpid());
    const std::string copy = std::filesystem::temp_directory_path().string() + "/" + name;
    std::filesystem::copy_file("/bin/sh", copy, std::filesystem::copy_options::overwrite_existing);
    const pid_t busy = startScript(copy, name, "while :; do :; done");
    const pid_t idle = startScript(copy, name, "while :; do sleep 1; done");
    ASSERT_GT(busy, 0);
    ASSERT_GT(idle, 0);
    auto cleanUp = [&] {
        for (pid_t pid : {busy, idle}) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
        std::filesystem::remove(copy);
    };

    // The detector sees the two as the process list reads them. Only they make up the
    // group, whatever else runs beside this test, so nothing else can be named.
    auto reader = makeProcessListSource();
    reader->read(false);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    AppGroup group;
    group.id = "proc:" + name;
    group.name = name;
    for (const AppGroup& g : reader->read(false).groups)
        for (const ProcessSample& p : g.processes)
            if (p.pid == busy || p.pid == idle) {
                group.processes.push_back(p);
                group.cpu += p.cpu;
            }
    if (group.processes.size() != 2) cleanUp();
    ASSERT_EQ(group.processes.size(), 2u);
    defaults.set("alert.highCPU.threshold", 10.0);
    defaults.set("alert.highCPU.minutes", 0.0);
    EventDetector detector(&defaults, clock);
    detector.process(Snapshot{});
    Snapshot seen;
    seen.groups = {group};
    clock.advance(2);
    auto events = detector.process(seen);
    if (events.size() != 1) cleanUp();
    ASSERT_EQ(events.size(), 1u);

    // The notification's Quit App, pressed on the server as a user would.
    FakeNotificationServer server(bus->address(), fullServer);
    makeCenter(2.0, politeQuitHook());
    center->deliver(events[0]);
    ASSERT_TRUE(server.waitForNotifications(1));
    const uint32_t id = server.notifications()[0].id;
    server.invokeAction(id, "QUIT_APP");

    int status = 0;
    pid_t done = 0;
    testing::eventually([&] { return (done = ::waitpid(busy, &status, WNOHANG)) != 0; });
    const bool idleRunning = ::waitpid(idle, nullptr, WNOHANG) == 0;
    const bool toldEnded = server.waitForNotifications(2);
    // Pressed again later: the busy one is gone and its namesake is still not chosen.
    server.invokeAction(id, "QUIT_APP");
    const bool toldGone = server.waitForNotifications(3);
    const auto sent = server.notifications();
    cleanUp();

    ASSERT_EQ(done, busy) << "the busy process was not asked to quit";
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_TRUE(idleRunning) << "the idle namesake was signalled";
    ASSERT_TRUE(toldEnded && toldGone);
    EXPECT_EQ(sent[1].summary, name);
    EXPECT_EQ(sent[1].body, "Ended 1 process.");
    EXPECT_TRUE(sent[1].actions.empty() ||
                sent[1].actions == (std::vector<std::string>{"default", "Show in Quillmere"}));
    EXPECT_EQ(sent[2].body, "No process was signalled: 1 was already gone.");
}

TEST_F(NotificationBusTest, ShowAndClicksOpenTheAppAndUnknownAnswersAreIgnored) {
    FakeNotificationServer server(bus->address(), fullServer);
    makeCenter();
    center->deliver(highCPU("yes"));
    center->deliver(event(EventKind::thermal, 2, std::nullopt, "Your Mac is running hot"));
    center->deliver(highCPU("gone"));
    ASSERT_TRUE(server.waitForNotifications(3));
    auto sent = server.notifications();

    server.invokeAction(9999, "QUIT_APP");  // another program's notification
    server.close(sent[2].id);               // closed: its buttons are forgotten
    server.invokeAction(sent[2].id, "QUIT_APP");
    server.invokeAction(sent[0].id, "OPEN");
    server.invokeAction(sent[1].id, "default");
    ASSERT_TRUE(testing::eventually([&] { return answers() >= 2; }));
    // Signals arrive in order: had the ignored ones acted, they would be here by now.
    std::lock_guard guard(lock);
    EXPECT_TRUE(quits.empty());
    ASSERT_EQ(opens.size(), 2u);
    EXPECT_EQ(opens[0], "proc:yes");
    EXPECT_EQ(opens[1], std::nullopt);
}

TEST_F(NotificationBusTest, WithoutABusOneLineAndNothingBlocks) {
    LogCapture log;
    FreedesktopNotifications::Options options;
    options.busAddress = "unix:path=/nonexistent/quillmere-test/bus";
    FreedesktopNotifications sink(options);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 3; ++i) sink.post({"id", "title", "body", 2, true, std::nullopt, {}});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_FALSE(sink.waitUntilDelivered(5));
    auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("Quillmere: notifications are off: cannot reach the session bus"), std::string::npos)
        << lines[0];
}

TEST_F(NotificationBusTest, NoServiceSilentServiceAndAServiceThatComesAndGoes) {
    LogCapture log;
    makeCenter(/*callTimeout=*/0.3);
    // A bus without a notification service.
    center->deliver(highCPU("one"));
    center->deliver(highCPU("two"));
    EXPECT_FALSE(sink->waitUntilDelivered(5));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0], "Quillmere: notifications are off: no notification service on the session bus");

    // A service that holds the name and never answers: each call gives up in time.
    {
        FakeNotificationServer silent(bus->address(), fullServer, /*answer=*/false);
        const auto start = std::chrono::steady_clock::now();
        center->deliver(highCPU("three"));
        center->deliver(highCPU("four"));
        EXPECT_FALSE(sink->waitUntilDelivered(5));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
        ASSERT_EQ(log.lines().size(), 2u);
        EXPECT_EQ(log.lines()[1],
                  "Quillmere: the notification service did not answer; notifications are skipped until it does");
    }

    // The service starts, works, goes away mid-run, and a new one takes over.
    {
        FakeNotificationServer first(bus->address(), fullServer);
        center->deliver(highCPU("five"));
        ASSERT_TRUE(first.waitForNotifications(1)) << ::testing::PrintToString(log.lines());
        EXPECT_TRUE(sink->waitUntilDelivered(5));
    }
    center->deliver(highCPU("six"));
    EXPECT_FALSE(sink->waitUntilDelivered(5));
    ASSERT_EQ(log.lines().size(), 3u);
    EXPECT_EQ(log.lines()[2], "Quillmere: notifications are off: no notification service on the session bus");
    FakeNotificationServer second(bus->address(), {"body"});
    center->deliver(highCPU("seven"));
    ASSERT_TRUE(second.waitForNotifications(1));
    EXPECT_TRUE(sink->waitUntilDelivered(5));
    // The new server's capabilities count: it has no buttons.
    EXPECT_TRUE(second.notifications()[0].actions.empty());
}

double processCPUSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

TEST_F(NotificationBusTest, TheBusGoingAwayIsOneLineAndNoBusyWaiting) {
    LogCapture log;
    {
        FakeNotificationServer server(bus->address(), fullServer);
        makeCenter();
        center->deliver(highCPU("one"));
        ASSERT_TRUE(server.waitForNotifications(1));
        ASSERT_TRUE(sink->waitUntilDelivered(5));
        bus->stop();
        ASSERT_TRUE(log.waitForLines(1));
    }
    EXPECT_NE(log.lines()[0].find("Quillmere: lost the session bus"), std::string::npos) << log.lines()[0];
    // The sink waits quietly for work instead of polling a dead connection.
    const double before = processCPUSeconds();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_LT(processCPUSeconds() - before, 0.1);
    center->deliver(highCPU("two"));
    EXPECT_FALSE(sink->waitUntilDelivered(5));
    EXPECT_EQ(log.lines().size(), 1u);
}

}  // namespace
}  // namespace qm
