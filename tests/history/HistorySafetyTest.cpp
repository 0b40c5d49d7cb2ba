// What must never cost the user history: a wrong or changed clock, a busy or damaged
// database, someone else's file under our name.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "HistoryRows.h"
#include "LogCapture.h"
#include "TempDirectory.h"
#include "history/HistoryStore.h"
#include "history/RecorderLock.h"
#include "history/WalCheck.h"

using namespace qm;
using qm::testing::LogCapture;
using qm::testing::minuteAt;
using qm::testing::rawExec;
using qm::testing::TempDirectory;

namespace {

constexpr int64_t day = 86400;
constexpr int64_t realNow = 1'700'000'040;  // a minute boundary

int64_t count(const std::string& path, const std::string& table) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* stmt = nullptr;
    int64_t n = -1;
    if (sqlite3_prepare_v2(db, ("SELECT COUNT(*) FROM " + table).c_str(), -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
        n = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return n;
}

TimelineEvent eventAt(int64_t ts) {
    TimelineEvent e;
    e.date = static_cast<Date>(ts);
    e.kind = EventKind::highCPU;
    e.title = "Busy";
    return e;
}

// 30 days of history written by a correct clock: an app row and a minute every hour,
// an event a day.
void recordThirtyDays(const std::string& path) {
    ManualClock clock(realNow);
    HistoryStore store(path, nullptr, clock);
    for (int64_t ts = realNow - 30 * day; ts <= realNow; ts += 3600) {
        store.write(minuteAt(ts), {{ts, "proc:a", "a", 1, 1e6, 0, 0}});
        if (ts % day < 3600) store.write(eventAt(ts));
    }
    store.waitUntilIdle();
}

}  // namespace

TEST(HistorySafety, AClockAheadAtStartOrChangedWhileRunningPrunesNothingACorrectClockWouldKeep) {
    TempDirectory dir;
    const std::string path = dir.file("history.sqlite");
    recordThirtyDays(path);
    const int64_t apps = count(path, "app"), minutes = count(path, "sys"), events = count(path, "event");
    ASSERT_GT(apps, 700);

    // Started 40 days ahead, then a year ahead: the first prune deletes nothing.
    for (int64_t ahead : {40 * day, 400 * day}) {
        ManualClock wrong(realNow + ahead);
        HistoryStore store(path, nullptr, wrong);
        store.prune();
        store.waitUntilIdle();
        EXPECT_EQ(count(path, "app"), apps) << ahead;
        EXPECT_EQ(count(path, "sys"), minutes) << ahead;
        EXPECT_EQ(count(path, "event"), events) << ahead;
    }

    // Changed while running: the wall clock no longer agrees with the elapsed time, so
    // the prune waits (and says so once).
    {
        LogCapture log;
        ManualClock clock(realNow + 60);
        HistoryStore store(path, nullptr, clock);
        clock.set(realNow + 400 * day);
        store.prune();
        store.prune();
        store.waitUntilIdle();
        EXPECT_EQ(count(path, "sys"), minutes);
        EXPECT_EQ(log.lines().size(), 1u);
    }

    // A correct clock a few days on still prunes what is really past its retention.
    {
        ManualClock later(realNow + 3 * day);
        HistoryStore store(path, nullptr, later);
        later.advance(2 * day);  // the recorder ran for two days
        store.prune();
        store.waitUntilIdle();
        const int64_t kept = count(path, "app");
        EXPECT_LT(kept, apps);
        // Only rows older than 31 days before (newest minute + two days) went.
        EXPECT_GE(kept, apps - 25 * 2);
        EXPECT_EQ(count(path, "sys"), minutes);
    }
}

TEST(HistorySafety, AClockSetBackNeverWritesOverRecordedMinutes) {
    TempDirectory dir;
    LogCapture log;
    HistoryStore store(dir.file("history.sqlite"));
    for (int i = 0; i < 10; ++i)
        store.write(minuteAt(realNow + 60 * i, 10), {{realNow + 60 * i, "proc:a", "a", 10, 1, 0, 0}});
    // Set back ten minutes: the same minutes come again with other figures.
    for (int i = 0; i < 10; ++i)
        store.write(minuteAt(realNow + 60 * i, 99), {{realNow + 60 * i, "proc:a", "a", 99, 1, 0, 0}});
    store.write(minuteAt(realNow + 600, 50), {});  // the clock passed the newest minute
    for (const SystemMinute& m : store.systemMinutesSync(realNow, realNow + 540, 60)) EXPECT_EQ(m.cpu, 10) << m.ts;
    for (const AppMinute& a : store.appMinutesSync(realNow, realNow + 540)) EXPECT_EQ(a.cpu, 10) << a.ts;
    EXPECT_EQ(store.systemMinutesSync(realNow + 600, realNow + 600, 60).size(), 1u);
    ASSERT_EQ(log.lines().size(), 2u);  // once when it began, once when it ended
    EXPECT_NE(log.lines()[0].find("clock is behind"), std::string::npos);
}

TEST(HistorySafety, ABusyDatabaseDelaysMinutesAndWritesThemInOrderLater) {
    TempDirectory dir;
    const std::string path = dir.file("history.sqlite");
    LogCapture log;
    HistoryStore store(path);
    store.write(minuteAt(realNow), {});
    store.waitUntilIdle();

    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr), SQLITE_OK);
    store.write(minuteAt(realNow + 60), {});  // waits out the busy timeout, then fails
    store.write(eventAt(realNow + 70));
    EXPECT_EQ(store.unsavedCount(), 2u);
    EXPECT_FALSE(store.error().empty());
    sqlite3_exec(other, "COMMIT;", nullptr, nullptr, nullptr);
    sqlite3_close(other);

    store.write(minuteAt(realNow + 120), {});
    EXPECT_EQ(store.unsavedCount(), 0u);
    EXPECT_EQ(store.systemMinutesSync(realNow, realNow + 120, 60).size(), 3u);
    EXPECT_EQ(store.eventsSync(realNow, realNow + 120).size(), 1u);
    EXPECT_TRUE(store.error().empty());
    ASSERT_EQ(log.lines().size(), 2u);  // the failure, then the recovery
    EXPECT_NE(log.lines()[0].find(path), std::string::npos);
    EXPECT_NE(log.lines()[1].find("works again"), std::string::npos);
}

TEST(HistorySafety, OnlyTheRecorderMovesADamagedOrForeignDatabaseAside) {
    TempDirectory dir;
    const std::string path = dir.file("history.sqlite");
    // A valid SQLite file whose `sys` table is someone else's.
    rawExec(path, "CREATE TABLE sys(name TEXT, value TEXT); INSERT INTO sys VALUES('theirs', 'keep me');");
    {
        LogCapture log;
        HistoryStore reader(path);
        EXPECT_FALSE(reader.isOpen());
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_NE(log.lines()[0].find(path), std::string::npos);
        EXPECT_NE(reader.error().find("damaged"), std::string::npos);
    }
    EXPECT_EQ(count(path, "sys"), 1);  // left exactly where it was
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);

    RecorderLock lock(path);
    ASSERT_TRUE(lock.acquired());
    LogCapture log;
    HistoryStore recorder(path);
    ASSERT_TRUE(recorder.isOpen());
    recorder.write(minuteAt(realNow), {});
    EXPECT_EQ(recorder.systemMinutesSync(realNow, realNow, 60).size(), 1u);
    bool keptAside = false;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        if (entry.path().string().find(".corrupt-") != std::string::npos && entry.path().extension() != ".sqlite-wal")
            keptAside = keptAside || count(entry.path().string(), "sys") == 1;
    EXPECT_TRUE(keptAside);
}

TEST(HistorySafety, TheRecorderReopensAFileThatWasReplacedUnderIt) {
    TempDirectory dir;
    const std::string path = dir.file("history.sqlite");
    RecorderLock lock(path);
    LogCapture log;
    HistoryStore store(path);
    store.write(minuteAt(realNow), {});
    store.waitUntilIdle();
    // Someone moves the file (and its WAL) away; a new, empty history takes its place.
    for (const char* suffix : {"", "-wal", "-shm"})
        std::filesystem::rename(path + suffix, dir.file(std::string("old.sqlite") + suffix));
    store.write(minuteAt(realNow + 60), {});
    store.waitUntilIdle();
    EXPECT_EQ(count(path, "sys"), 1);
    EXPECT_EQ(count(dir.file("old.sqlite"), "sys"), 1);
}

TEST(HistorySafety, AFailedQueryIsLoggedAndReportedNotAnsweredEmpty) {
    TempDirectory dir;
    const std::string path = dir.file("history.sqlite");
    HistoryStore store(path);
    store.write(minuteAt(realNow), {});
    store.waitUntilIdle();
    rawExec(path, "DROP TABLE app;");
    LogCapture log;
    EXPECT_TRUE(store.appMinutesSync(0, realNow * 2).empty());
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_NE(store.error().find(path), std::string::npos);
}

TEST(HistorySafety, ADamagedWriteAheadLogIsKeptNeverDropped) {
    TempDirectory dir;
    const std::string live = dir.file("live.sqlite");
    const std::string path = dir.file("history.sqlite");
    {
        // Copy the database and its log while the log still holds the minutes.
        HistoryStore store(live);
        for (int i = 0; i < 6; ++i)
            store.write(minuteAt(realNow + 60 * i), {{realNow + 60 * i, "proc:a", "a", 1, 1, 0, 0}});
        store.waitUntilIdle();
        std::filesystem::copy_file(live, path);
        std::filesystem::copy_file(live + "-wal", path + "-wal");
    }
    EXPECT_FALSE(walIsDamaged(path + "-wal"));
    // Damage the page data of the second frame; later frames are intact.
    {
        std::fstream file(path + "-wal", std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(32 + (24 + 4096) + 24 + 100);
        file.write("\x5a\x5a\x5a\x5a", 4);
    }
    ASSERT_TRUE(walIsDamaged(path + "-wal"));
    const uint64_t walSize = std::filesystem::file_size(path + "-wal");
    {
        LogCapture log;
        HistoryStore reader(path);
        EXPECT_FALSE(reader.isOpen());
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_NE(log.lines()[0].find("write-ahead log"), std::string::npos);
    }
    ASSERT_TRUE(std::filesystem::exists(path + "-wal"));
    EXPECT_EQ(std::filesystem::file_size(path + "-wal"), walSize);

    RecorderLock lock(path);
    LogCapture log;
    HistoryStore recorder(path);
    EXPECT_TRUE(recorder.isOpen());
    bool copied = false;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        if (entry.path().string().find(".wal-damaged-") != std::string::npos)
            copied = std::filesystem::file_size(entry.path()) == walSize;
    EXPECT_TRUE(copied);
}
