// The recorder (sampler and history store) against a clock that moves under it and
// restarts that come at any moment: no row is stamped from a jumped clock, no row
// within retention is pruned, and a restart within a minute keeps that minute whole.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <functional>

#include "../history/LogCapture.h"
#include "../history/TempDirectory.h"
#include "FakePlatform.h"
#include "engine/Sampler.h"
#include "history/HistoryStore.h"
#include "history/RecorderLock.h"

namespace qm {
namespace {

constexpr int64_t day = 86400;
// Six hours after a six-hour mark minus a minute: a prune falls due as soon as
// recording starts, and 40 days (160 × 6 hours) keep that alignment.
constexpr int64_t realStart = 1'700'006'400 - 60;

// Emits one event every `every` ticks, dated like the snapshot.
class EveryNthTick : public SnapshotDetector {
public:
    explicit EveryNthTick(int every) : every_(every) {}
    std::vector<TimelineEvent> process(const Snapshot& s) override {
        if (++ticks_ % every_ != 0) return {};
        TimelineEvent e;
        e.date = s.date;
        e.kind = EventKind::highCPU;
        e.title = "Busy";
        return {e};
    }

private:
    int every_;
    int ticks_ = 0;
};

// A recorder as `quillmere record` assembles it, ticking by hand.
struct Recorder {
    Recorder(const std::string& path, ManualClock& clock, const std::shared_ptr<testing::FakeMachine>& machine)
        : lock(path), store(path, nullptr, clock) {
        Sampler::Dependencies deps;
        deps.platform = testing::fakePlatform(machine);
        deps.clock = &clock;
        deps.defaults = &defaults;
        deps.history = &store;
        deps.detector = std::make_unique<EveryNthTick>(3);
        deps.queue = std::make_unique<ManualQueue>();
        sampler = std::make_unique<Sampler>(std::move(deps));
        sampler->start();
    }
    ~Recorder() {
        sampler->flushNow();
        store.waitUntilIdle();
    }
    RecorderLock lock;
    MemoryDefaults defaults;
    HistoryStore store;
    std::unique_ptr<Sampler> sampler;
};

int64_t scalar(const std::string& path, const std::string& sql) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* stmt = nullptr;
    int64_t value = -1;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK && sqlite3_step(stmt) == SQLITE_ROW)
        value = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return value;
}

// 30 days of history from a correct clock: a minute with an app row every ten minutes.
void seedThirtyDays(const std::string& path) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    std::string sql =
        "CREATE TABLE sys(ts INTEGER PRIMARY KEY, cpu REAL, mem_used REAL, mem_total REAL, pressure REAL, plevel "
        "INTEGER, swap REAL, gpu REAL, power REAL, soc_temp REAL, net_rx REAL, net_tx REAL, disk_r REAL, disk_w "
        "REAL, battery REAL, on_battery INTEGER, thermal INTEGER);"
        "CREATE TABLE app(ts INTEGER, key TEXT, name TEXT, cpu REAL, mem REAL, energy REAL, disk_w REAL, "
        "PRIMARY KEY(ts, key)) WITHOUT ROWID;"
        "WITH RECURSIVE t(ts) AS (SELECT " +
        std::to_string(realStart - 30 * day) + " UNION ALL SELECT ts + 600 FROM t WHERE ts + 600 < " +
        std::to_string(realStart) +
        ") INSERT INTO sys(ts, cpu) SELECT ts, 1 FROM t;"
        "INSERT INTO app SELECT ts, 'proc:old', 'old', 1, 1e6, 0, 0 FROM sys;";
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
}

}  // namespace

TEST(RecorderClock, JumpsOf40DaysAheadAndBackWithRestartsInAnyOrderStoreAndPruneNothingWrong) {
    // The wall clock's offset from the true time through the run; after each move the
    // recorder is restarted or not, every combination.
    const std::vector<std::vector<int64_t>> journeys = {
        {40 * day, 0}, {-40 * day, 0}, {40 * day, -40 * day, 0}, {-40 * day, 40 * day, 0}, {40 * day}};
    auto machine = std::make_shared<testing::FakeMachine>();
    AppGroup app;
    app.id = "proc:busy";
    app.name = "busy";
    app.cpu = 50;
    machine->processes.groups = {app};

    for (const auto& journey : journeys) {
        for (unsigned restarts = 0; restarts < (1u << journey.size()); ++restarts) {
            SCOPED_TRACE("journey of " + std::to_string(journey.size()) + " moves, restarts " +
                         std::to_string(restarts));
            qm::testing::TempDirectory dir;
            const std::string path = dir.file("history.sqlite");
            seedThirtyDays(path);
            const int64_t seeded = scalar(path, "SELECT COUNT(*) FROM app");
            qm::testing::LogCapture log;

            ManualClock clock(static_cast<Date>(realStart));
            int64_t offset = 0;
            auto recorder = std::make_unique<Recorder>(path, clock, machine);
            // A tick a minute for five minutes; the first phase closes the minute of a
            // six-hour mark, where the recorder prunes, and every restart prunes as it starts.
            const auto record = [&](int minutes) {
                for (int i = 0; i < minutes; ++i) {
                    clock.advance(60);
                    recorder->sampler->sample();
                }
            };
            record(5);
            for (size_t move = 0; move < journey.size(); ++move) {
                clock.set(clock.now() - static_cast<Date>(offset) + static_cast<Date>(journey[move]));
                offset = journey[move];
                if ((restarts >> move) & 1u) {
                    recorder.reset();
                    recorder = std::make_unique<Recorder>(path, clock, machine);
                }
                record(5);
            }
            recorder.reset();
            const int64_t trueEnd = static_cast<int64_t>(clock.now()) - offset;

            // Nothing stamped from a moved clock, nothing within retention pruned.
            for (const char* table : {"sys", "app", "event"}) {
                const std::string t = table;
                EXPECT_EQ(scalar(path, "SELECT COUNT(*) FROM " + t + " WHERE ts > " + std::to_string(trueEnd)), 0) << t;
                EXPECT_EQ(scalar(path,
                                 "SELECT COUNT(*) FROM " + t + " WHERE ts < " + std::to_string(realStart - 30 * day)),
                          0)
                    << t;
            }
            EXPECT_EQ(scalar(path, "SELECT COUNT(*) FROM app WHERE key = 'proc:old'"), seeded);
            // The first phase and every phase after the clock came back were recorded.
            EXPECT_GE(scalar(path, "SELECT COUNT(*) FROM sys WHERE ts >= " + std::to_string(realStart)), 5);
            EXPECT_GT(scalar(path, "SELECT COUNT(*) FROM event WHERE ts >= " + std::to_string(realStart)), 0);
            if (offset == 0) {
                EXPECT_GE(scalar(path, "SELECT COUNT(*) FROM sys WHERE ts >= " + std::to_string(trueEnd - 5 * 60)), 4);
            }
            // Each loss of trust and each return is said once, not once a tick.
            EXPECT_LE(log.lines().size(), 2 * journey.size());
        }
    }
}

TEST(RecorderClock, ARestartWithinAMinuteMergesIntoItAndACorrectedClockIsBelieved) {
    qm::testing::TempDirectory dir;
    const std::string path = dir.file("history.sqlite");
    auto machine = std::make_shared<testing::FakeMachine>();
    AppGroup app;
    app.id = "proc:busy";
    app.name = "busy";
    machine->processes.groups = {app};
    qm::testing::LogCapture log;
    ManualClock clock(static_cast<Date>(realStart));

    // 20 % from :10 to :40, a restart, 80 % from :45 to :55.
    machine->processes.groups[0].cpu = 20;
    auto recorder = std::make_unique<Recorder>(path, clock, machine);
    for (int i = 0; i < 4; ++i) {
        clock.advance(10);
        recorder->sampler->sample();
    }
    recorder.reset();
    machine->processes.groups[0].cpu = 80;
    recorder = std::make_unique<Recorder>(path, clock, machine);
    for (int i = 0; i < 4; ++i) {  // :45, :50, :55, and :60 closes the minute
        clock.advance(5);
        recorder->sampler->sample();
    }
    recorder->store.waitUntilIdle();
    auto apps = recorder->store.appMinutesSync(static_cast<Date>(realStart), static_cast<Date>(realStart));
    ASSERT_EQ(apps.size(), 1u);
    // The stored part counts up to the restart's first sample (45 s at 20 %), the new
    // one its own 15 s at 80 %: 35 % over the minute, not either part alone.
    EXPECT_NEAR(apps[0].cpu, 35, 0.5);
    EXPECT_TRUE(log.lines().empty()) << log.lines().front();

    // A clock set ahead by hand is not believed; once time synchronisation vouches
    // for it, recording goes on from the new time.
    clock.set(clock.now() + 2 * day);
    recorder->sampler->sample();
    EXPECT_FALSE(recorder->sampler->clockTrusted());
    clock.setSynchronized(true);
    clock.advance(30);
    recorder->sampler->sample();
    EXPECT_TRUE(recorder->sampler->clockTrusted());
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_NE(log.lines()[0].find("jumped ahead by 2 days"), std::string::npos) << log.lines()[0];

    // After a reboot the continuous clock starts again: the wall clock is taken as it is.
    recorder.reset();
    clock.setSynchronized(false);
    clock.reboot();
    clock.advance(3600);
    recorder = std::make_unique<Recorder>(path, clock, machine);
    recorder->sampler->sample();
    EXPECT_TRUE(recorder->sampler->clockTrusted());
}

}  // namespace qm
