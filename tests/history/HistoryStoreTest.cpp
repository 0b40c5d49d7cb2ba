#include "history/HistoryStore.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "HistoryRows.h"
#include "LogCapture.h"
#include "TempDirectory.h"
#include "history/HistoryFiles.h"
#include "history/HistorySQL.h"
#include "history/RecorderLock.h"

using namespace qm;
using qm::testing::LogCapture;
using qm::testing::minuteAt;
using qm::testing::rawExec;
using qm::testing::TempDirectory;

namespace {

constexpr int64_t base = 1'700'000'040;  // a minute boundary

AppMinute appAt(int64_t ts, const std::string& key, double cpu, double energy = 0, double memory = 1e8) {
    return {ts, key, key.substr(key.find(':') + 1), cpu, memory, energy, 100};
}

TimelineEvent eventAt(Date date, EventKind kind = EventKind::highCPU) {
    TimelineEvent e;
    e.date = date;
    e.kind = kind;
    e.severity = 2;
    e.title = "Title";
    e.detail = "Detail";
    return e;
}

int64_t rawCount(const std::string& path, const std::string& table) {
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    sqlite3_stmt* stmt = nullptr;
    int64_t count = -1;
    if (sqlite3_prepare_v2(db, ("SELECT COUNT(*) FROM " + table).c_str(), -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
        count = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return count;
}

}  // namespace

TEST(HistoryStore, SameMinuteTwiceKeepsOneRowPerKey) {
    TempDirectory dir;
    {
        // The database replaces a minute written twice (the store decides when it may).
        HistoryDatabase db(dir.file("direct.sqlite"), base);
        db.write(minuteAt(base, 10), {appAt(base, "app:A", 5), appAt(base, "proc:b", 7)});
        db.write(minuteAt(base, 20), {appAt(base, "app:A", 50)});
        auto rows = db.systemMinutes(base, base, 60);
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].cpu, 20);
        auto apps = db.appMinutes(base, base);
        ASSERT_EQ(apps.size(), 2u);
        EXPECT_EQ(apps[0].key, "app:A");
        EXPECT_EQ(apps[0].cpu, 50);
        EXPECT_EQ(apps[1].key, "proc:b");
        EXPECT_EQ(apps[1].name, "b");
    }
}

TEST(HistoryStore, BytesAreKeptWholeAndEverythingElseExactly) {
    TempDirectory dir;
    HistoryStore store(dir.file("history.sqlite"));
    SystemMinute m = minuteAt(base, 12.345);
    m.memUsed = 4e9 + 0.4;
    m.netRx = 1000.6;
    m.pressure = 31.25;
    m.power = 7.125;
    AppMinute a = appAt(base, "app:A", 3.21, 0.015, 2e8 + 0.5);
    a.diskWrite = 99.4;
    store.write(m, {a});

    auto rows = store.systemMinutesSync(base, base, 60);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].memUsed, 4e9);
    EXPECT_EQ(rows[0].netRx, 1001);
    EXPECT_EQ(rows[0].cpu, 12.345) << "percentages, watts and energy keep their fractions";
    EXPECT_EQ(rows[0].pressure, 31.25);
    EXPECT_EQ(rows[0].power, 7.125);
    auto apps = store.appMinutesSync(base, base);
    ASSERT_EQ(apps.size(), 1u);
    EXPECT_EQ(apps[0].memory, 2e8 + 1);  // half a byte rounds away from zero
    EXPECT_EQ(apps[0].diskWrite, 99);
    EXPECT_EQ(apps[0].cpu, 3.21);
    EXPECT_EQ(apps[0].energy, 0.015);
}

TEST(HistoryStore, BucketsAverageRatesAndKeepTheWorstMoment) {
    TempDirectory dir;
    HistoryStore store(dir.file("history.sqlite"));
    // Five minutes from a five-minute boundary: three in one bucket, two in the next.
    int64_t start = base - base % 300;
    for (int i = 0; i < 5; ++i) {
        SystemMinute m = minuteAt(start + 120 + i * 60, 10.0 * (i + 1));
        m.pressureLevel = i == 1 ? 4 : 1;
        m.swap = 1e8 * (i + 1);
        m.onBattery = i == 0;
        m.thermal = i == 3 ? 2 : 0;
        if (i >= 3) m.gpu = 20.0 * i;  // only the second bucket ever had a GPU reading
        m.battery = i == 4 ? std::optional<double>(80) : std::nullopt;
        store.write(m, {});
    }

    auto rows = store.systemMinutesSync(start, start + 3600, 300);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].ts, start);
    EXPECT_DOUBLE_EQ(rows[0].cpu, 20);  // (10 + 20 + 30) / 3
    EXPECT_EQ(rows[0].pressureLevel, 4);
    EXPECT_DOUBLE_EQ(rows[0].swap, 3e8);
    EXPECT_TRUE(rows[0].onBattery);
    EXPECT_FALSE(rows[0].gpu.has_value());  // every value NULL: absent, not 0
    EXPECT_FALSE(rows[0].battery.has_value());
    EXPECT_EQ(rows[1].ts, start + 300);
    EXPECT_DOUBLE_EQ(rows[1].cpu, 45);
    EXPECT_EQ(rows[1].thermal, 2);
    EXPECT_FALSE(rows[1].onBattery);
    ASSERT_TRUE(rows[1].gpu.has_value());
    EXPECT_DOUBLE_EQ(*rows[1].gpu, 70);
    EXPECT_DOUBLE_EQ(*rows[1].battery, 80);  // the one value present is the average

    // A bucket under a minute is a minute; both bounds are inclusive.
    for (int bucket : {0, -5, 1, 60}) {
        auto minutes = store.systemMinutesSync(start + 120, start + 360, bucket);
        ASSERT_EQ(minutes.size(), 5u) << bucket;
        EXPECT_EQ(minutes[2].ts, start + 240);
    }
    EXPECT_TRUE(store.systemMinutesSync(start + 1000, start + 2000, 60).empty());
}

TEST(HistoryStore, LongRangesReadInHalvesGiveEveryBucketOnceAndWhole) {
    TempDirectory dir;
    HistoryStore store(dir.file("history.sqlite"));
    ASSERT_TRUE(store.isOpen());
    // Ten days of minutes in one transaction; CPU cycles so that every bucket's
    // average differs from its neighbours'.
    constexpr int minutes = 10 * 1440;
    rawExec(dir.file("history.sqlite"),
            "WITH RECURSIVE m(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM m WHERE i < " + std::to_string(minutes - 1) +
                ") INSERT INTO sys(ts, cpu, mem_used, mem_total, plevel, on_battery, thermal) SELECT " +
                std::to_string(base) + " + i * 60, i % 97, 4e9, 16e9, 1, 0, 0 FROM m;");

    for (int bucket : {7200, 7000, 60}) {
        std::map<int64_t, std::pair<double, int>> expected;  // bucket start -> (CPU sum, minutes)
        for (int i = 0; i < minutes; ++i) {
            auto& [sum, count] = expected[(base + i * 60) / bucket * bucket];
            sum += i % 97;
            count += 1;
        }
        auto rows = store.systemMinutesSync(base, base + minutes * 60, bucket);
        ASSERT_EQ(rows.size(), expected.size()) << "bucket " << bucket;
        auto it = expected.begin();
        for (const auto& row : rows) {
            ASSERT_EQ(row.ts, it->first) << "bucket " << bucket;
            EXPECT_NEAR(row.cpu, it->second.first / it->second.second, 1e-9) << "bucket " << bucket << " at " << row.ts;
            ++it;
        }
    }
}

TEST(HistoryStore, EventsComeNewestFirstCappedAndSkipUnknownKinds) {
    TempDirectory dir;
    std::string path = dir.file("history.sqlite");
    HistoryStore store(path);
    TimelineEvent withApp = eventAt(base + 0.9, EventKind::memoryGrowth);
    withApp.appKey = "app:/usr/share/applications/firefox.desktop";
    withApp.appName = "Firefox";
    withApp.severity = 1;
    store.write(withApp);
    for (int i = 1; i <= 510; ++i) store.write(eventAt(base + i, EventKind::swap));
    store.waitUntilIdle();
    rawExec(path, "INSERT INTO event(ts,kind,severity,title,detail) VALUES(" + std::to_string(base + 1000) +
                      ",'batteryHealth',0,'x','y');");
    rawExec(path, "INSERT INTO event(ts,kind,severity,title,detail) VALUES(" + std::to_string(base + 1001) +
                      ",NULL,0,NULL,NULL);");

    auto newest = store.eventsSync(base, base + 2000);
    ASSERT_EQ(newest.size(), 498u);  // 500 rows read; the two of unknown kind left out
    EXPECT_EQ(newest.front().date, base + 510);
    EXPECT_EQ(newest.back().date, base + 13);
    EXPECT_EQ(rawCount(path, "event"), 513);  // unknown kinds stay in the table

    auto first = store.eventsSync(base, base);
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].date, base);  // whole seconds, truncated
    EXPECT_EQ(first[0].kind, EventKind::memoryGrowth);
    EXPECT_EQ(first[0].severity, 1);
    EXPECT_EQ(first[0].appKey, withApp.appKey);
    EXPECT_EQ(first[0].appName, "Firefox");
    EXPECT_EQ(first[0].id, 1);
    EXPECT_FALSE(newest.front().appKey.has_value());
}

TEST(HistoryStore, TopAppsWindowIncludesItsStartAndExcludesItsEnd) {
    TempDirectory dir;
    HistoryStore store(dir.file("history.sqlite"));
    store.write(minuteAt(base - 60), {appAt(base - 60, "proc:before", 99)});
    store.write(minuteAt(base), {appAt(base, "proc:a", 10, 1, 5e8), appAt(base, "proc:b", 30)});
    store.write(minuteAt(base + 60), {appAt(base + 60, "proc:a", 20, 2, 7e8)});
    store.write(minuteAt(base + 120), {appAt(base + 120, "proc:after", 99)});
    for (int i = 0; i < 8; ++i)
        store.write(minuteAt(base + 60 + i), {appAt(base + 60, "proc:x" + std::to_string(i), 1)});

    auto top = store.topAppsSync(base, 120);
    ASSERT_EQ(top.size(), 6u);  // at most six
    EXPECT_EQ(top[0].key, "proc:b");
    EXPECT_EQ(top[1].key, "proc:a");
    EXPECT_DOUBLE_EQ(top[1].cpu, 15);      // average
    EXPECT_DOUBLE_EQ(top[1].memory, 7e8);  // peak
    EXPECT_DOUBLE_EQ(top[1].energy, 3);    // summed
    EXPECT_DOUBLE_EQ(top[1].diskWrite, 200);
    for (const auto& app : top) {
        EXPECT_NE(app.key, "proc:before");
        EXPECT_NE(app.key, "proc:after");
    }
}

TEST(HistoryStore, AppTotalsOverAllMinutesOrOnlyOnBattery) {
    TempDirectory dir;
    HistoryStore store(dir.file("history.sqlite"));
    SystemMinute onMains = minuteAt(base);
    SystemMinute onBattery = minuteAt(base + 60);
    onBattery.onBattery = true;
    store.write(onMains, {appAt(base, "proc:a", 100, 5, 3e8), appAt(base, "proc:b", 50, 50)});
    store.write(onBattery, {appAt(base + 60, "proc:a", 50, 1, 2e8)});
    // An app minute without its system row (a crash between writes).
    store.write(minuteAt(base + 600), {appAt(base + 120, "proc:c", 10, 100)});
    store.waitUntilIdle();  // the writes are queued: the second connection must not meet them mid-way
    rawExec(store.path(), "DELETE FROM sys WHERE ts = " + std::to_string(base + 600) + ";");

    auto all = store.appTotalsSync(base, base + 120, false, 10);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].key, "proc:c");  // by energy
    EXPECT_EQ(all[1].key, "proc:b");
    EXPECT_EQ(all[2].key, "proc:a");
    EXPECT_DOUBLE_EQ(all[2].cpuSeconds, 90);  // (100 + 50) % of a core for a minute each
    EXPECT_DOUBLE_EQ(all[2].energy, 6);
    EXPECT_DOUBLE_EQ(all[2].peakMemory, 3e8);
    EXPECT_DOUBLE_EQ(all[2].diskWritten, 200 * 60);
    EXPECT_EQ(store.appTotalsSync(base, base + 120, false, 1).size(), 1u);

    auto battery = store.appTotalsSync(base, base + 120, true, 10);
    ASSERT_EQ(battery.size(), 1u);
    EXPECT_EQ(battery[0].key, "proc:a");
    EXPECT_DOUBLE_EQ(battery[0].cpuSeconds, 30);
}

TEST(HistoryStore, LastUnpluggedAndMemoryProfile) {
    TempDirectory dir;
    ManualClock clock(base + 3600);
    HistoryStore store(dir.file("history.sqlite"), nullptr, clock);
    EXPECT_FALSE(store.lastUnpluggedSync().has_value());
    EXPECT_EQ(store.memoryProfileSync(30), MemoryProfile{});

    SystemMinute battery = minuteAt(base);
    battery.onBattery = true;
    store.write(battery, {});
    EXPECT_FALSE(store.lastUnpluggedSync().has_value());  // never on mains in the kept history

    for (int i = 1; i <= 4; ++i) {
        SystemMinute m = minuteAt(base + 60 * i);
        m.pressureLevel = i == 1 ? 4 : (i == 2 ? 2 : 1);  // kernel codes: critical, warning
        m.swap = 1e9 * i;
        m.memUsed = 5e9 + i;
        store.write(m, {});
    }
    store.write(battery, {});
    EXPECT_EQ(store.lastUnpluggedSync(), static_cast<Date>(base + 300));

    auto profile = store.memoryProfileSync(1);
    EXPECT_EQ(profile.minutes, 5);
    EXPECT_DOUBLE_EQ(profile.pressuredFraction, 0.2);  // only the critical minute
    EXPECT_DOUBLE_EQ(profile.peakSwap, 4e9);
    EXPECT_DOUBLE_EQ(profile.peakUsed, 5e9 + 4);
    clock.advance(86400);
    EXPECT_EQ(store.memoryProfileSync(1).minutes, 0);
}

TEST(HistoryStore, PruningKeepsAppDetailAMonthAndTheRestAYear) {
    TempDirectory dir;
    ManualClock clock(base + 400LL * 86400);
    HistoryStore store(dir.file("history.sqlite"), nullptr, clock);
    int64_t now = base + 400LL * 86400;
    for (int64_t age : {int64_t(367) * 86400, int64_t(365) * 86400, int64_t(32) * 86400, int64_t(30) * 86400}) {
        int64_t ts = now - age;
        store.write(minuteAt(ts), {appAt(ts, "proc:a", 1)});
        store.write(eventAt(static_cast<Date>(ts)));
    }
    store.write(minuteAt(now), {});  // retention counts from no later than the newest minute
    store.prune(now);
    EXPECT_EQ(store.systemMinutesSync(0, now, 60).size(), 4u);
    EXPECT_EQ(store.eventsSync(0, now).size(), 3u);
    auto apps = store.appMinutesSync(0, now);
    ASSERT_EQ(apps.size(), 1u);
    EXPECT_EQ(apps[0].ts, now - 30 * 86400);
    EXPECT_EQ(fileBytes(store.path() + "-wal"), 0u);  // truncated after pruning
}

TEST(HistoryStore, EraseAllEmptiesTablesButKeepsEventNumbering) {
    TempDirectory dir;
    HistoryStore store(dir.file("history.sqlite"));
    for (int i = 0; i < 2000; ++i) store.write(minuteAt(base + 60 * i), {appAt(base + 60 * i, "proc:a", 1)});
    store.write(eventAt(base));
    store.waitUntilIdle();
    uint64_t full = store.fileSize();
    EXPECT_GT(full, 100'000u);

    store.eraseAll();
    store.write(eventAt(base));
    auto events = store.eventsSync(0, base * 2);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].id, 2);
    EXPECT_TRUE(store.systemMinutesSync(0, base * 2, 60).empty());
    EXPECT_TRUE(store.appMinutesSync(0, base * 2).empty());
    EXPECT_LT(store.fileSize(), full / 4);
}

TEST(HistoryStore, CreatesPrivateFilesAndCountsTheWAL) {
    TempDirectory dir;
    std::string folder = dir.file("deeper/quillmere");
    std::string path = folder + "/history.sqlite";
    HistoryStore store(path);
    store.write(minuteAt(base), {});
    store.waitUntilIdle();

    struct stat info {};
    ASSERT_EQ(::stat(folder.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(store.fileSize(), fileBytes(path) + fileBytes(path + "-wal"));
    EXPECT_GT(fileBytes(path + "-wal"), 0u);
}

TEST(HistoryStore, AnUnopenableDatabaseMakesAnInertStore) {
    TempDirectory dir;
    std::ofstream(dir.file("not-a-folder")) << "x";
    LogCapture log;
    HistoryStore store(dir.file("not-a-folder/history.sqlite"));
    EXPECT_FALSE(store.isOpen());
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0], "Quillmere: could not open the history database " +
                                  dir.file("not-a-folder/history.sqlite") + ": Not a directory");
    EXPECT_EQ(store.error(), log.lines()[0].substr(11));

    store.write(minuteAt(base), {appAt(base, "proc:a", 1)});
    store.write(eventAt(base));
    store.prune(base);
    store.eraseAll();
    EXPECT_EQ(store.fileSize(), 0u);
    EXPECT_TRUE(store.systemMinutesSync(0, base * 2, 60).empty());
    EXPECT_TRUE(store.eventsSync(0, base * 2).empty());
    EXPECT_TRUE(store.topAppsSync(0, base * 2).empty());
    EXPECT_TRUE(store.appTotalsSync(0, base * 2, false, 10).empty());
    EXPECT_EQ(store.memoryProfileSync(30), MemoryProfile{});
    EXPECT_FALSE(store.lastUnpluggedSync().has_value());
}

TEST(HistoryStore, UnreadableFileIsMovedAsideAndAFreshDatabaseStarts) {
    TempDirectory dir;
    std::string path = dir.file("history.sqlite");
    std::string garbage(64 * 1024, 'q');
    std::ofstream(path) << garbage;
    std::ofstream(path + "-wal") << "stale";

    LogCapture log;
    ManualClock clock(1'706'711'101);  // 2024-01-31 14:25:01 UTC
    RecorderLock lock(path);           // only the recorder moves a damaged file aside
    ASSERT_TRUE(lock.acquired());
    {
        HistoryStore store(path, nullptr, clock);
        ASSERT_TRUE(store.isOpen());
        store.write(minuteAt(base), {});
        EXPECT_EQ(store.systemMinutesSync(base, base, 60).size(), 1u);
    }
    std::string moved = path + ".corrupt-20240131-142501Z";
    std::ifstream in(moved);
    std::string kept((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(kept, garbage);  // the user's file is kept byte for byte
    EXPECT_TRUE(std::filesystem::exists(moved + "-wal"));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_NE(log.lines()[0].find(moved), std::string::npos);

    // A database whose pages were damaged later fails the quick check at the next
    // start; a second failure in the same second gets its own name.
    {
        HistoryStore store(path, nullptr, clock);
        for (int i = 0; i < 500; ++i) store.write(minuteAt(base + 60 * i), {appAt(base + 60 * i, "proc:a", 1)});
        store.prune(base);  // move everything into the main file
    }
    {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(4096 * 3);
        std::string noise(4096 * 4, '\x5a');
        file.write(noise.data(), static_cast<std::streamsize>(noise.size()));
    }
    HistoryStore again(path, nullptr, clock);
    EXPECT_TRUE(again.isOpen());
    EXPECT_TRUE(std::filesystem::exists(moved + "-2"));
    EXPECT_TRUE(again.systemMinutesSync(0, base * 2, 60).empty());
}

TEST(HistoryDatabase, AFullDiskFailsWritesWithOneLogLineAndKeepsGoing) {
    TempDirectory dir;
    LogCapture log;
    HistoryDatabase db(dir.file("history.sqlite"), base);
    ASSERT_TRUE(db.isOpen());
    db.write(minuteAt(base), {appAt(base, "proc:a", 1)});
    // Cap the file at its current size: every later page allocation fails as on a full disk.
    sqlite3_exec(db.handle(), "PRAGMA wal_checkpoint(TRUNCATE); PRAGMA max_page_count=1;", nullptr, nullptr, nullptr);
    for (int i = 1; i < 200; ++i) {
        std::vector<AppMinute> apps;
        for (int k = 0; k < 13; ++k)
            apps.push_back(appAt(base + 60 * i, "proc:app-with-a-long-name-" + std::to_string(k), 1));
        db.write(minuteAt(base + 60 * i), apps);
        db.write(eventAt(base + 60 * i));
    }
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_NE(log.lines()[0].find("could not write"), std::string::npos);
    EXPECT_GE(db.systemMinutes(0, base * 2, 60).size(), 1u);  // reads still answer
}

TEST(HistoryStore, CompletionsRunOnTheCompletionQueue) {
    TempDirectory dir;
    MainLoop main;
    ManualClock clock(base + 60);
    HistoryStore store(dir.file("history.sqlite"), &main, clock);
    store.write(minuteAt(base), {});
    std::thread::id ranOn;
    size_t count = 0;
    int64_t minutes = -1;
    store.systemMinutes(base, base, 60, [&](std::vector<SystemMinute> rows) {
        count = rows.size();
        ranOn = std::this_thread::get_id();
    });
    store.memoryProfile(30, [&](int64_t m, double, double, double) {
        minutes = m;
        main.stop();
    });
    main.runFor(10);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_EQ(minutes, 1);
}

TEST(HistoryDatabase, EveryQueryFindsItsRowsThroughAKeyNeverByReadingAWholeTable) {
    TempDirectory dir;
    HistoryDatabase db(dir.file("history.sqlite"), base);
    ASSERT_TRUE(db.isOpen());
    for (const std::string& sql :
         {historysql::bucketedSystemMinutes(7200), std::string(historysql::eventsInRange) + "500;",
          std::string(historysql::topApps), historysql::appTotals(false, 10), historysql::appTotals(true, 10),
          std::string(historysql::memoryProfile), std::string(historysql::lastOnMains),
          std::string(historysql::newestMinute), std::string(historysql::minuteExists),
          std::string(historysql::appMinutesInRange)}) {
        sqlite3_stmt* plan = nullptr;
        ASSERT_EQ(sqlite3_prepare_v2(db.handle(), ("EXPLAIN QUERY PLAN " + sql).c_str(), -1, &plan, nullptr), SQLITE_OK)
            << sql;
        while (sqlite3_step(plan) == SQLITE_ROW) {
            const std::string step = reinterpret_cast<const char*>(sqlite3_column_text(plan, 3));
            EXPECT_NE(step.rfind("SCAN", 0), 0u) << sql << "\n  " << step;
        }
        sqlite3_finalize(plan);
    }
}
