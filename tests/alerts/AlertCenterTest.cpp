// The alert center's rules with a sink that only records: which events notify, the
// half-hour hold-back, what a notification carries, and what an answer does.
#include "history/AlertCenter.h"

#include <gtest/gtest.h>

#include <deque>
#include <set>

namespace qm {
namespace {

class RecordingSink : public NotificationSink {
public:
    void registerCategory(const NotificationCategory& category) override { categories.push_back(category); }
    void setResponseHandler(ResponseHandler h) override { handler = std::move(h); }
    void post(const NotificationRequest& request) override { posted.push_back(request); }
    bool waitUntilDelivered(double) override { return true; }

    std::vector<NotificationCategory> categories;
    std::vector<NotificationRequest> posted;
    ResponseHandler handler;
};

// Holds posted work until the test runs it, like a main thread that is busy.
class HeldQueue : public SerialQueue {
public:
    void post(std::function<void()> work) override { held.push_back(std::move(work)); }
    void sync(std::function<void()> work) override { work(); }
    std::unique_ptr<RepeatingTimer> repeating(double, double, std::function<void()>) override { return nullptr; }
    void runAll() {
        while (!held.empty()) {
            auto work = std::move(held.front());
            held.pop_front();
            work();
        }
    }
    std::deque<std::function<void()>> held;
};

TimelineEvent event(EventKind kind, int64_t severity, std::optional<std::string> appKey) {
    TimelineEvent e;
    e.kind = kind;
    e.severity = severity;
    e.title = "title";
    e.detail = "detail";
    e.appKey = std::move(appKey);
    if (e.appKey) e.appName = "Name";
    return e;
}

struct Fixture {
    Fixture() {
        auto owned = std::make_unique<RecordingSink>();
        sink = owned.get();
        AlertCenter::Hooks hooks;
        hooks.quitApp = [this](const AlertCenter::QuitRequest& request, auto told) {
            quits.push_back(request.appKey);
            requests.push_back(request);
            told("Ended 1 process.");
        };
        hooks.open = [this](const std::optional<std::string>& key) { opens.push_back(key); };
        center = std::make_unique<AlertCenter>(std::move(owned), queue, hooks, &defaults, clock);
    }
    size_t posted() const { return sink->posted.size(); }

    MemoryDefaults defaults;
    ManualClock clock;
    HeldQueue queue;
    RecordingSink* sink = nullptr;
    std::vector<std::string> quits;
    std::vector<AlertCenter::QuitRequest> requests;
    std::vector<std::optional<std::string>> opens;
    std::unique_ptr<AlertCenter> center;
};

TEST(AlertCenterTest, WhichEventsNotify) {
    Fixture f;
    // Timeline-only kinds never notify.
    for (EventKind kind :
         {EventKind::spotlight, EventKind::unplugged, EventKind::pluggedIn, EventKind::appCrashLoop, EventKind::swap})
        EXPECT_FALSE(f.center->shouldDeliver(event(kind, 2, "proc:x"))) << rawValue(kind);
    EXPECT_TRUE(f.center->shouldDeliver(event(EventKind::highCPU, 2, "proc:x")));
    EXPECT_TRUE(f.center->shouldDeliver(event(EventKind::memoryGrowth, 1, "proc:x")));
    EXPECT_TRUE(f.center->shouldDeliver(event(EventKind::thermal, 2, std::nullopt)));
    // "Memory is getting tight" never notifies; heavy pressure does, unless switched off.
    EXPECT_FALSE(f.center->shouldDeliver(event(EventKind::memoryPressure, 1, "proc:x")));
    EXPECT_TRUE(f.center->shouldDeliver(event(EventKind::memoryPressure, 2, "proc:x")));
    f.defaults.set("alert.pressure", false);
    EXPECT_FALSE(f.center->shouldDeliver(event(EventKind::memoryPressure, 2, "proc:x")));

    // Each switch gates its own kind only; a value of another type counts as on.
    f.defaults.set("alert.highCPU", false);
    f.defaults.set("alert.memoryLeak", std::string("no"));
    f.defaults.set("alert.thermal", int64_t{0});
    EXPECT_FALSE(f.center->shouldDeliver(event(EventKind::highCPU, 2, "proc:x")));
    EXPECT_TRUE(f.center->shouldDeliver(event(EventKind::memoryGrowth, 1, "proc:x")));
    EXPECT_TRUE(f.center->shouldDeliver(event(EventKind::thermal, 2, std::nullopt)));

    f.center->deliver({event(EventKind::highCPU, 2, "proc:x"), event(EventKind::memoryPressure, 1, "proc:y"),
                       event(EventKind::swap, 1, std::nullopt), event(EventKind::thermal, 2, std::nullopt)});
    ASSERT_EQ(f.posted(), 1u);
    EXPECT_EQ(f.sink->posted[0].title, "title");
}

TEST(AlertCenterTest, TheSameThingIsAnnouncedOnceInHalfAnHour) {
    Fixture f;
    f.center->deliver(event(EventKind::highCPU, 2, "app:/usr/share/applications/a.desktop"));
    f.clock.advance(20 * 60);
    f.center->deliver(event(EventKind::highCPU, 2, "app:/usr/share/applications/a.desktop"));
    EXPECT_EQ(f.posted(), 1u);
    // Another app, or another kind for the same app, is news.
    f.center->deliver(event(EventKind::highCPU, 2, "app:/usr/share/applications/b.desktop"));
    f.center->deliver(event(EventKind::memoryGrowth, 1, "app:/usr/share/applications/a.desktop"));
    EXPECT_EQ(f.posted(), 3u);
    // A held-back event does not restart the half hour: 30 minutes after the first it notifies.
    f.clock.advance(10 * 60);
    f.center->deliver(event(EventKind::highCPU, 2, "app:/usr/share/applications/a.desktop"));
    EXPECT_EQ(f.posted(), 4u);

    // Without an app the key is "thermal:", held back like any other.
    EXPECT_EQ(AlertCenter::holdBackKey(event(EventKind::thermal, 2, std::nullopt)), "thermal:");
    EXPECT_EQ(AlertCenter::holdBackKey(event(EventKind::highCPU, 2, "proc:yes")), "highCPU:proc:yes");
    f.center->deliver(event(EventKind::thermal, 2, std::nullopt));
    f.clock.advance(29 * 60);
    f.center->deliver(event(EventKind::thermal, 2, std::nullopt));
    EXPECT_EQ(f.posted(), 5u);
    f.clock.advance(60);
    f.center->deliver(event(EventKind::thermal, 2, std::nullopt));
    EXPECT_EQ(f.posted(), 6u);
}

TEST(AlertCenterTest, QuitIsOfferedForRunawayOrLeakingAppsAndRealApplicationsOnly) {
    auto withQuit = [](const TimelineEvent& e) { return AlertCenter::content(e, "id").category.has_value(); };
    EXPECT_TRUE(withQuit(event(EventKind::highCPU, 2, "proc:yes")));
    EXPECT_TRUE(withQuit(event(EventKind::memoryGrowth, 1, "proc:node")));
    EXPECT_TRUE(withQuit(event(EventKind::thermal, 2, "app:/usr/share/applications/firefox.desktop")));
    EXPECT_TRUE(withQuit(event(EventKind::memoryPressure, 2, "app:/usr/share/applications/firefox.desktop")));
    EXPECT_FALSE(withQuit(event(EventKind::thermal, 2, "proc:kworker")));
    EXPECT_FALSE(withQuit(event(EventKind::thermal, 2, std::nullopt)));
    EXPECT_FALSE(withQuit(event(EventKind::memoryPressure, 2, "proc:postgres")));
    EXPECT_FALSE(withQuit(event(EventKind::highCPU, 2, std::string())));

    NotificationRequest r = AlertCenter::content(event(EventKind::highCPU, 2, "proc:yes"), "abc");
    EXPECT_EQ(r.identifier, "abc");
    EXPECT_EQ(r.title, "title");
    EXPECT_EQ(r.body, "detail");
    EXPECT_EQ(r.severity, 2);
    EXPECT_TRUE(r.defaultSound);
    EXPECT_EQ(r.category, "APP_EVENT");
    EXPECT_EQ(r.userInfo, (std::map<std::string, std::string>{{"appKey", "proc:yes"}, {"appName", "Name"}}));
    EXPECT_TRUE(AlertCenter::content(event(EventKind::thermal, 2, "proc:kworker"), "x").userInfo.empty());

    auto category = AlertCenter::appEventCategory();
    EXPECT_EQ(category.identifier, "APP_EVENT");
    ASSERT_EQ(category.actions.size(), 2u);
    EXPECT_EQ(category.actions[0].identifier, "QUIT_APP");
    EXPECT_EQ(category.actions[0].title, "Quit App");
    EXPECT_TRUE(category.actions[0].destructive);
    EXPECT_EQ(category.actions[1].identifier, "OPEN");
    EXPECT_EQ(category.actions[1].title, "Show in Quillmere");
    EXPECT_TRUE(category.actions[1].foreground);

    // The category is registered once, when the center is made; identifiers are fresh UUIDs.
    Fixture f;
    ASSERT_EQ(f.sink->categories.size(), 1u);
    EXPECT_EQ(f.sink->categories[0].identifier, "APP_EVENT");
    std::set<std::string> identifiers;
    // 8-4-4-4-12 upper-case hex digits, version 4, RFC 4122 variant.
    auto isUUID = [](const std::string& id) {
        if (id.size() != 36 || id[14] != '4' || std::string("89AB").find(id[19]) == std::string::npos) return false;
        for (size_t i = 0; i < id.size(); ++i) {
            const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
            if (dash ? id[i] != '-' : std::string("0123456789ABCDEF").find(id[i]) == std::string::npos) return false;
        }
        return true;
    };
    for (int i = 0; i < 100; ++i) {
        std::string id = AlertCenter::randomIdentifier();
        EXPECT_TRUE(isUUID(id)) << id;
        identifiers.insert(id);
    }
    EXPECT_EQ(identifiers.size(), 100u);
}

TEST(AlertCenterTest, QuitAppCarriesTheRecordedProcessesAndSaysWhatHappened) {
    Fixture f;
    TimelineEvent busy = event(EventKind::highCPU, 2, "proc:python3");
    busy.processes = {{4242, 1'700'000'000'123'456, 1000}, {77, 5, 0}};
    f.center->deliver(busy);
    ASSERT_EQ(f.posted(), 1u);
    auto info = f.sink->posted[0].userInfo;
    EXPECT_EQ(info["processes"], "4242:1700000000123456:1000,77:5:0");

    // The answer, perhaps hours later, names exactly those processes.
    f.sink->handler({"QUIT_APP", info});
    f.queue.runAll();
    ASSERT_EQ(f.requests.size(), 1u);
    EXPECT_EQ(f.requests[0].appKey, "proc:python3");
    EXPECT_EQ(f.requests[0].appName, "Name");
    EXPECT_EQ(f.requests[0].processes, busy.processes);
    // What happened, in a notification of its own without buttons.
    ASSERT_EQ(f.posted(), 2u);
    EXPECT_EQ(f.sink->posted[1].title, "Name");
    EXPECT_EQ(f.sink->posted[1].body, "Ended 1 process.");
    EXPECT_FALSE(f.sink->posted[1].category);

    // User-info from a stranger: malformed entries are skipped, never guessed at.
    EXPECT_EQ(AlertCenter::decodeProcesses("12:34:56,x:1:2,7:8,-3:4:5,9:10:11:12,13::14,15:16:17,"),
              (std::vector<ProcessRef>{{12, 34, 56}, {15, 16, 17}}));
    EXPECT_TRUE(AlertCenter::decodeProcesses("99999999999:1:1").empty());
    EXPECT_EQ(AlertCenter::encodeProcesses({}), "");
}

TEST(AlertCenterTest, AnswersActOnTheMainQueue) {
    Fixture f;
    ASSERT_TRUE(f.sink->handler);
    const std::map<std::string, std::string> app{{"appKey", "app:/usr/share/applications/a.desktop"}};
    f.sink->handler({"QUIT_APP", app});
    f.sink->handler({"OPEN", app});
    f.sink->handler({"default", {}});         // a click on a notification without an app
    f.sink->handler({"QUIT_APP", {}});        // nothing to quit
    f.sink->handler({"somethingElse", app});  // any other answer opens the app
    // Nothing happens on the sink's thread.
    EXPECT_TRUE(f.quits.empty());
    EXPECT_TRUE(f.opens.empty());
    f.queue.runAll();
    EXPECT_EQ(f.quits, std::vector<std::string>{"app:/usr/share/applications/a.desktop"});
    ASSERT_EQ(f.opens.size(), 3u);
    EXPECT_EQ(f.opens[0], "app:/usr/share/applications/a.desktop");
    EXPECT_EQ(f.opens[1], std::nullopt);
    EXPECT_EQ(f.opens[2], "app:/usr/share/applications/a.desktop");

    // An answer still queued when the alert center goes away does nothing.
    auto handler = f.sink->handler;
    handler({"QUIT_APP", app});
    f.center.reset();
    f.queue.runAll();
    EXPECT_EQ(f.quits.size(), 1u);
}

}  // namespace
}  // namespace qm
