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

TEST(HistorySafety, APruneNeverCountsFromPastTheNewestStoredMinute) {
    TempDirectory dir;
    const std::string path = dir.file("history.sqlite");
    recordThirtyDays(path);
    const int64_t apps = count(path, "app"), minutes = count(path, "sys"), events = count(path, "event");
    ASSERT_GT(apps, 700);

    // Asked to prune from 40 days or a year ahead: nothing a correct clock would keep goes.
    HistoryStore store(path);
    for (int64_t ahead : {40 * day, 400 * day}) {
        store.prune(realNow + ahead);
        store.waitUntilIdle();
        EXPECT_EQ(count(path, "app"), apps) << ahead;
        EXPECT_EQ(count(path, "sys"), minutes) << ahead;
        EXPECT_EQ(count(path, "event"), events) << ahead;
    }
    // Once minutes two days on are stored, what is then past its retention goes.
    store.write(minuteAt(realNow + 2 * day), {});
    store.prune(realNow + 2 * day + 60);
    store.waitUntilIdle();
    EXPECT_EQ(count(path, "app"), apps - 25);  // the first day and an hour of hourly rows
    EXPECT_EQ(count(path, "sys"), minutes + 1);
}

TEST(HistorySafety, AClockSetBackNeverWritesOverRecordedMinutes) {
    TempDirectory dir;
    LogCapture log;
    HistoryStore store(dir.file("history.sqlite"));
    for (int i = 0; i < 10; ++i)
        store.write(minuteAt(realNow + 60 * i, 10), {{realNow + 60 * i, "proc:a", "a", 10, 1, 0, 0}});
    // Set back ten minutes: the same minutes come again with other figures. The newest
    // one is written again (a restarted recorder merges its samples into it); the
    // others are left as they are.
    for (int i = 0; i < 9; ++i)
        store.write(minuteAt(realNow + 60 * i, 99), {{realNow + 60 * i, "proc:a", "a", 99, 1, 0, 0}});
    store.write(minuteAt(realNow + 540, 50), {{realNow + 540, "proc:a", "a", 50, 1, 0, 0}});
    store.write(minuteAt(realNow + 600, 50), {});  // the clock passed the newest minute
    for (const SystemMinute& m : store.systemMinutesSync(realNow, realNow + 480, 60)) EXPECT_EQ(m.cpu, 10) << m.ts;
    for (const AppMinute& a : store.appMinutesSync(realNow, realNow + 480)) EXPECT_EQ(a.cpu, 10) << a.ts;
    EXPECT_EQ(store.systemMinutesSync(realNow + 540, realNow + 540, 60).at(0).cpu, 50);
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

TEST(HistorySafety, AnotherProgramsDatabaseAndFilesBehindLinksAreLeftExactlyAsTheyWere) {
    TempDirectory dir;
    const auto contents = [](const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    };
    const auto mode = [](const std::string& file) {
        return std::filesystem::status(file).permissions() & std::filesystem::perms::mask;
    };
    // A valid SQLite file of another program, readable by everyone, as its program left it.
    const std::string places = dir.file("places.sqlite");
    rawExec(places, "CREATE TABLE moz_places(url TEXT); INSERT INTO moz_places VALUES('keep me');");
    std::filesystem::permissions(places, std::filesystem::perms(0644));
    // A history of someone else's, reached through a link; and a link to nothing.
    const std::string theirs = dir.file("theirs.sqlite");
    {
        HistoryStore store(theirs);
        store.write(minuteAt(realNow), {});
    }
    std::filesystem::permissions(theirs, std::filesystem::perms(0644));
    std::filesystem::create_symlink(theirs, dir.file("link.sqlite"));
    std::filesystem::create_symlink(dir.file("nowhere/x.sqlite"), dir.file("dangling.sqlite"));
    const std::string placesBefore = contents(places), theirsBefore = contents(theirs);

    LogCapture log;
    for (const std::string& name : {places, dir.file("link.sqlite"), dir.file("dangling.sqlite")}) {
        {
            HistoryStore reader(name);
            EXPECT_FALSE(reader.isOpen()) << name;
        }
        RecorderLock lock(name);
        if (lock.acquired()) {
            HistoryStore recorder(name);
            EXPECT_FALSE(recorder.isOpen()) << name;
        } else {
            EXPECT_NE(lock.error().find("symbolic link"), std::string::npos) << name << ": " << lock.error();
        }
    }
    ASSERT_EQ(log.lines().size(), 4u);  // the reader and the recorder each said why, once a file
    EXPECT_NE(log.lines()[0].find("another program"), std::string::npos) << log.lines()[0];
    EXPECT_NE(log.lines()[2].find("symbolic link"), std::string::npos) << log.lines()[2];
    EXPECT_EQ(contents(places), placesBefore);
    EXPECT_EQ(contents(theirs), theirsBefore);
    EXPECT_EQ(mode(places), std::filesystem::perms(0644));
    EXPECT_EQ(mode(theirs), std::filesystem::perms(0644));
    EXPECT_FALSE(std::filesystem::exists(dir.file("nowhere")));
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        EXPECT_EQ(entry.path().string().find(".corrupt-"), std::string::npos) << entry.path();
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
        // A reader reads what SQLite accepts and leaves the log as it found it: it
        // neither checkpoints nor deletes it on closing.
        LogCapture log;
        HistoryStore reader(path);
        EXPECT_TRUE(reader.isOpen());
        EXPECT_TRUE(log.lines().empty());
    }
    ASSERT_TRUE(std::filesystem::exists(path + "-wal"));
    EXPECT_TRUE(walIsDamaged(path + "-wal"));
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

TEST(HistorySafety, DamageToTheHeaderTheMiddleOrTheLogOfALiveRecordersFileIsHandledWithinAMinute) {
    struct Damage {
        const char* what;
        const char* file;
        std::streamoff at;
        size_t bytes;
    };
    for (const Damage& damage : {Damage{"header", "", 0, 100}, Damage{"middle", "", 4096 * 3, 4096 * 4},
                                 Damage{"log", "-wal", 32 + (24 + 4096) + 24 + 100, 64}}) {
        SCOPED_TRACE(damage.what);
        TempDirectory dir;
        const std::string path = dir.file("history.sqlite");
        RecorderLock lock(path);
        ASSERT_TRUE(lock.acquired());
        ManualClock clock(realNow);
        HistoryStore recorder(path, nullptr, clock);
        for (int i = 0; i < 300; ++i)
            recorder.write(minuteAt(realNow - 60 * i), {{realNow - 60 * i, "proc:a", "a", 1, 1, 0, 0}});
        // The main file holds the pages; for the log, a few minutes more are only in it.
        recorder.prune(realNow);
        for (int i = 1; i <= 5; ++i) recorder.write(minuteAt(realNow + 60 * i), {});
        recorder.waitUntilIdle();
        {
            std::fstream file(path + damage.file, std::ios::in | std::ios::out | std::ios::binary);
            file.seekp(damage.at);
            const std::string noise(damage.bytes, '\x5a');
            file.write(noise.data(), static_cast<std::streamsize>(noise.size()));
        }

        LogCapture log;
        clock.advance(60);
        recorder.write(minuteAt(realNow + 360), {});
        recorder.waitUntilIdle();
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_NE(log.lines()[0].find("damaged while recording"), std::string::npos) << log.lines()[0];
        bool keptAside = false;
        for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
            keptAside = keptAside || entry.path().filename().string().rfind("history.sqlite.corrupt-", 0) == 0;
        EXPECT_TRUE(keptAside);
        // The fresh file holds the new minute, and a reader reads it.
        HistoryStore reader(path);
        ASSERT_TRUE(reader.isOpen()) << reader.error();
        EXPECT_EQ(reader.systemMinutesSync(realNow, realNow + 3600, 60).size(), 1u);
        EXPECT_TRUE(reader.error().empty());
    }
}
