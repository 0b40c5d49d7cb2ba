#include "history/HistoryDatabase.h"

#include <cmath>
#include <limits>

#include "core/Log.h"
#include "history/HistoryFiles.h"
#include "history/HistorySQL.h"
#include "history/SqliteStatement.h"

namespace qm {

namespace {

// SQLite counts every allocation under one process-wide lock unless told not to;
// with the store's two connections reading at once that lock is the bottleneck. The
// setting must come before SQLite's first use, and this process has no other user.
void configureSqliteOnce() {
    static const bool configured = [] {
        sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
        return true;
    }();
    (void)configured;
}

// Read-write, create, no mutex: the connection is only ever used from one queue.
constexpr int openFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;

// `quillmere record` and a command such as `history erase` may share the file; a
// writer waits this long for the other before giving up on one statement.
constexpr int busyTimeoutMs = 2000;

bool meansUnusable(int code) {
    int primary = code & 0xff;
    return primary == SQLITE_NOTADB || primary == SQLITE_CORRUPT;
}

std::string parentOf(const std::string& path) {
    auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

// Byte counts and byte rates are kept to the whole byte. SQLite stores a REAL with no
// fraction as compactly as an integer (0 to 6 bytes instead of 8), which keeps a day of
// history small, and a fraction of a byte means nothing to anyone reading it back.
double wholeBytes(double bytes) {
    constexpr double exact = 9007199254740992.0;  // 2^53: every whole double below is exact
    if (!std::isfinite(bytes) || std::fabs(bytes) >= exact) return bytes;
    return std::round(bytes);
}

// Bucketed system minutes on either connection; empty without one.
std::vector<SystemMinute> readBucketedMinutes(sqlite3* db, int64_t from, int64_t to, int64_t bucket) {
    std::vector<SystemMinute> rows;
    if (db == nullptr) return rows;
    SqliteStatement query(db, historysql::bucketedSystemMinutes(std::max<int64_t>(bucket, 60)));
    query.bindInt64(1, from);
    query.bindInt64(2, to);
    while (query.step()) {
        SystemMinute m;
        m.ts = query.int64At(0);
        m.cpu = query.doubleAt(1);
        m.memUsed = query.doubleAt(2);
        m.memTotal = query.doubleAt(3);
        m.pressure = query.doubleAt(4);
        m.pressureLevel = static_cast<int>(query.int64At(5));
        m.swap = query.doubleAt(6);
        m.gpu = query.optionalDoubleAt(7);
        m.power = query.optionalDoubleAt(8);
        m.socTemp = query.optionalDoubleAt(9);
        m.netRx = query.doubleAt(10);
        m.netTx = query.doubleAt(11);
        m.diskRead = query.doubleAt(12);
        m.diskWrite = query.doubleAt(13);
        m.battery = query.optionalDoubleAt(14);
        m.onBattery = query.int64At(15) != 0;
        m.thermal = static_cast<int>(query.int64At(16));
        rows.push_back(m);
    }
    return rows;
}

}  // namespace

int64_t wholeSeconds(Date date) {
    if (std::isnan(date)) return 0;
    constexpr double lowest = static_cast<double>(std::numeric_limits<int64_t>::min());
    constexpr double highest = 9.2233720368547748e18;  // first double above Int64's range
    if (date <= lowest) return std::numeric_limits<int64_t>::min();
    if (date >= highest) return std::numeric_limits<int64_t>::max();
    return static_cast<int64_t>(date);  // truncates toward zero
}

HistoryDatabase::HistoryDatabase(std::string path, int64_t nowSeconds) : path_(std::move(path)) {
    configureSqliteOnce();
    open(nowSeconds);
}

HistoryDatabase::~HistoryDatabase() { close(); }

void HistoryDatabase::close() {
    if (db_ != nullptr) sqlite3_close_v2(db_);
    db_ = nullptr;
}

bool HistoryDatabase::open(int64_t nowSeconds) {
    ensurePrivateDirectory(parentOf(path_));  // a failure shows up as a failed open below
    bool hadHistory = fileBytes(path_) > 0;
    ensurePrivateFile(path_);

    // A file that is not SQLite at all is moved aside before SQLite touches it: opening
    // it would discard the WAL beside it, which may hold the newest minutes.
    OpenOutcome outcome = hasDatabaseHeader(path_) ? openConnection() : OpenOutcome::unusable;
    if (outcome == OpenOutcome::unusable && hadHistory) {
        close();
        if (auto moved = moveDatabaseAside(path_, nowSeconds)) {
            logLine("history database was unreadable; moved it to " + *moved + " and started a new one");
            ensurePrivateFile(path_);
            outcome = openConnection();
        } else {
            logLine("history database is unreadable and could not be moved aside: " + path_);
            return false;
        }
    }
    // Other failures after a successful open (a full disk, a read-only folder) keep the
    // connection: writes fail and are logged once, queries answer empty.
    return db_ != nullptr;
}

HistoryDatabase::OpenOutcome HistoryDatabase::openConnection() {
    if (sqlite3_open_v2(path_.c_str(), &db_, openFlags, nullptr) != SQLITE_OK) {
        close();
        logLine("could not open history database");
        return OpenOutcome::failed;
    }
    sqlite3_busy_timeout(db_, busyTimeoutMs);
    execSQL(db_, historysql::journalMode);
    execSQL(db_, historysql::synchronousNormal);
    execSQL(db_, historysql::tempStoreMemory);
    int rc = execSQL(db_, historysql::schema);
    if (meansUnusable(rc)) return OpenOutcome::unusable;
    if (rc != SQLITE_OK) return OpenOutcome::failed;

    SqliteStatement check(db_, historysql::quickCheck);
    if (!check.prepared()) return meansUnusable(sqlite3_errcode(db_)) ? OpenOutcome::unusable : OpenOutcome::failed;
    if (check.step()) return check.textAt(0) == "ok" ? OpenOutcome::ready : OpenOutcome::unusable;
    return meansUnusable(check.lastResult()) ? OpenOutcome::unusable : OpenOutcome::failed;
}

void HistoryDatabase::noteWriteFailure(int code) {
    if (code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW) return;
    if (writeFailureLogged_) return;
    writeFailureLogged_ = true;
    logLine(std::string("could not write to the history database (") + sqlite3_errmsg(db_) + ")");
}

void HistoryDatabase::write(const SystemMinute& minute, const std::vector<AppMinute>& apps) {
    if (db_ == nullptr) return;
    // A transaction left open by an earlier failed commit would swallow this minute.
    if (sqlite3_get_autocommit(db_) == 0) execSQL(db_, "ROLLBACK;");
    noteWriteFailure(execSQL(db_, "BEGIN;"));
    {
        SqliteStatement sys(db_, historysql::insertSystemMinute);
        if (sys.prepared()) {
            sys.bindInt64(1, minute.ts);
            sys.bindDouble(2, minute.cpu);
            sys.bindDouble(3, wholeBytes(minute.memUsed));
            sys.bindDouble(4, wholeBytes(minute.memTotal));
            sys.bindDouble(5, minute.pressure);
            // The minute accumulator's kernel code: 1 normal, 2 warning, 4 critical.
            sys.bindInt(6, static_cast<int>(minute.pressureLevel));
            sys.bindDouble(7, wholeBytes(minute.swap));
            sys.bindDouble(8, minute.gpu);
            sys.bindDouble(9, minute.power);
            sys.bindDouble(10, minute.socTemp);
            sys.bindDouble(11, wholeBytes(minute.netRx));
            sys.bindDouble(12, wholeBytes(minute.netTx));
            sys.bindDouble(13, wholeBytes(minute.diskRead));
            sys.bindDouble(14, wholeBytes(minute.diskWrite));
            sys.bindDouble(15, minute.battery);
            sys.bindInt(16, minute.onBattery ? 1 : 0);
            sys.bindInt(17, static_cast<int>(minute.thermal));
            sys.step();
            noteWriteFailure(sys.lastResult());
        }
    }
    {
        SqliteStatement app(db_, historysql::insertAppMinute);
        for (const AppMinute& row : apps) {
            if (!app.prepared()) break;
            app.reset();
            app.bindInt64(1, row.ts);
            app.bindText(2, row.key);
            app.bindText(3, row.name);
            app.bindDouble(4, row.cpu);
            app.bindDouble(5, wholeBytes(row.memory));
            app.bindDouble(6, row.energy);
            app.bindDouble(7, wholeBytes(row.diskWrite));
            app.step();
            noteWriteFailure(app.lastResult());
        }
    }
    int rc = execSQL(db_, "COMMIT;");
    noteWriteFailure(rc);
    if (rc != SQLITE_OK && sqlite3_get_autocommit(db_) == 0) execSQL(db_, "ROLLBACK;");
}

void HistoryDatabase::write(const TimelineEvent& event) {
    if (db_ == nullptr) return;
    SqliteStatement insert(db_, historysql::insertEvent);
    if (!insert.prepared()) return;
    insert.bindInt64(1, wholeSeconds(event.date));
    insert.bindText(2, std::string(rawValue(event.kind)));
    insert.bindInt(3, static_cast<int>(event.severity));
    insert.bindText(4, event.title);
    insert.bindText(5, event.detail);
    insert.bindText(6, event.appKey);
    insert.bindText(7, event.appName);
    insert.step();
    noteWriteFailure(insert.lastResult());
}

void HistoryDatabase::prune(int64_t nowSeconds) {
    if (db_ == nullptr) return;
    execSQL(db_, historysql::pruneSystem(nowSeconds));
    execSQL(db_, historysql::pruneApps(nowSeconds));
    execSQL(db_, historysql::pruneEvents(nowSeconds));
    execSQL(db_, historysql::truncateWAL);
}

void HistoryDatabase::eraseAll() {
    if (db_ == nullptr) return;
    noteWriteFailure(execSQL(db_, historysql::eraseAll));
    // VACUUM rewrites the file through the WAL; truncating it makes the space visible
    // at once to whoever looks at the size.
    execSQL(db_, historysql::truncateWAL);
}

std::vector<SystemMinute> HistoryDatabase::systemMinutes(int64_t from, int64_t to, int64_t bucket) {
    return readBucketedMinutes(db_, from, to, bucket);
}

std::vector<TimelineEvent> HistoryDatabase::events(int64_t from, int64_t to, int limit) {
    std::vector<TimelineEvent> rows;
    if (db_ == nullptr) return rows;
    SqliteStatement query(db_, historysql::eventsInRange + std::to_string(limit) + ";");
    query.bindInt64(1, from);
    query.bindInt64(2, to);
    while (query.step()) {
        // Rows of kinds this build does not know stay in the table but are not shown.
        auto kind = eventKindFromRaw(query.textAt(2));
        if (!kind) continue;
        TimelineEvent e;
        e.id = query.int64At(0);
        e.date = static_cast<Date>(query.int64At(1));
        e.kind = *kind;
        e.severity = static_cast<int>(query.int64At(3));
        e.title = query.textAt(4);
        e.detail = query.textAt(5);
        e.appKey = query.optionalTextAt(6);
        e.appName = query.optionalTextAt(7);
        rows.push_back(std::move(e));
    }
    return rows;
}

std::vector<AppMinute> HistoryDatabase::topApps(int64_t at, int64_t window) {
    std::vector<AppMinute> rows;
    if (db_ == nullptr) return rows;
    SqliteStatement query(db_, historysql::topApps);
    query.bindInt64(1, at);
    query.bindInt64(2, at + window);
    while (query.step()) {
        rows.push_back({query.int64At(0), query.textAt(1), query.textAt(2), query.doubleAt(3), query.doubleAt(4),
                        query.doubleAt(5), query.doubleAt(6)});
    }
    return rows;
}

std::vector<AppTotal> HistoryDatabase::appTotals(int64_t from, int64_t to, bool onlyOnBattery, int limit) {
    std::vector<AppTotal> rows;
    if (db_ == nullptr) return rows;
    SqliteStatement query(db_, historysql::appTotals(onlyOnBattery, limit));
    query.bindInt64(1, from);
    query.bindInt64(2, to);
    while (query.step()) {
        rows.push_back({query.textAt(0), query.textAt(1), query.doubleAt(2), query.doubleAt(3), query.doubleAt(4),
                        query.doubleAt(5)});
    }
    return rows;
}

MemoryProfile HistoryDatabase::memoryProfile(int64_t cut) {
    MemoryProfile profile;
    if (db_ == nullptr) return profile;
    SqliteStatement query(db_, historysql::memoryProfile);
    query.bindInt64(1, cut);
    if (!query.step()) return profile;
    profile.minutes = query.int64At(0);
    double pressured = query.doubleAt(1);
    profile.pressuredFraction = profile.minutes < 1 ? 0 : pressured / static_cast<double>(profile.minutes);
    profile.peakSwap = query.doubleAt(2);  // NULL reads as 0
    profile.peakUsed = query.doubleAt(3);
    return profile;
}

std::optional<Date> HistoryDatabase::lastUnplugged() {
    if (db_ == nullptr) return std::nullopt;
    SqliteStatement query(db_, historysql::lastOnMains);
    if (!query.step() || query.isNull(0)) return std::nullopt;
    // The end of the last minute spent on mains power.
    return static_cast<Date>(query.int64At(0) + 60);
}

std::vector<AppMinute> HistoryDatabase::appMinutes(int64_t from, int64_t to) {
    std::vector<AppMinute> rows;
    if (db_ == nullptr) return rows;
    SqliteStatement query(db_, historysql::appMinutesInRange);
    query.bindInt64(1, from);
    query.bindInt64(2, to);
    while (query.step()) {
        rows.push_back({query.int64At(0), query.textAt(1), query.textAt(2), query.doubleAt(3), query.doubleAt(4),
                        query.doubleAt(5), query.doubleAt(6)});
    }
    return rows;
}

HistoryReadConnection::HistoryReadConnection(const std::string& path) {
    configureSqliteOnce();
    // Read-only: this connection never creates, repairs or moves the file; the
    // writing connection has done that before any reader exists.
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
        sqlite3_close_v2(db_);
        db_ = nullptr;
        return;
    }
    sqlite3_busy_timeout(db_, busyTimeoutMs);
    execSQL(db_, historysql::tempStoreMemory);
}

HistoryReadConnection::~HistoryReadConnection() {
    if (db_ != nullptr) sqlite3_close_v2(db_);
}

std::vector<SystemMinute> HistoryReadConnection::systemMinutes(int64_t from, int64_t to, int64_t bucket) {
    return readBucketedMinutes(db_, from, to, bucket);
}

}  // namespace qm
