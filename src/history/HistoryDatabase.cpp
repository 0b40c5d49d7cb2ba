#include "history/HistoryDatabase.h"

#include <sys/stat.h>

#include <cmath>
#include <ctime>
#include <limits>

#include "core/Log.h"
#include "history/DatabaseHealth.h"
#include "history/HistoryFiles.h"
#include "history/HistorySQL.h"
#include "history/RecorderLock.h"
#include "history/SqliteStatement.h"
#include "history/WalCheck.h"

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

// Read-write, create, no mutex (the connection is only ever used from one queue), and
// never through a symlink, even one put in place after the checks.
constexpr int openFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW;

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

// Bucketed system minutes from a prepared statement of either connection.
std::vector<SystemMinute> readBucketedMinutes(SqliteStatement& query, int64_t from, int64_t to) {
    std::vector<SystemMinute> rows;
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
    openedAt_ = nowSeconds;
    open(nowSeconds);
}

HistoryDatabase::~HistoryDatabase() { close(); }

void HistoryDatabase::close() {
    if (db_ != nullptr) sqlite3_close_v2(db_);
    db_ = nullptr;
}

bool HistoryDatabase::open(int64_t nowSeconds) {
    ensurePrivateDirectory(parentOf(path_));  // a failure shows up as a failed open below
    const bool recorder = RecorderLock::heldByThisProcess(path_);
    recorder_ = recorder;
    if (std::string refusal = historyPathRefusal(path_, recorder); !refusal.empty()) {
        error_ = refusal;
        logLine(error_);
        return false;
    }
    bool hadHistory = fileBytes(path_) > 0;
    fresh_ = !hadHistory && fileBytes(path_ + "-wal") == 0;
    createPrivateFile(path_);

    // A file that is not SQLite at all is moved aside before SQLite touches it: opening
    // it would discard the WAL beside it, which may hold the newest minutes.
    OpenOutcome outcome = hasDatabaseHeader(path_) ? openConnection() : OpenOutcome::unusable;
    if (outcome == OpenOutcome::foreign) {
        // Someone else's database is neither moved nor changed: the user named the wrong file.
        close();
        error_ = path_ + " is an SQLite database of another program, not a Quillmere history; it was left as it is " +
                 "(name another file with --db or QUILLMERE_DB)";
        logLine(error_);
        return false;
    }
    if (outcome == OpenOutcome::unusable && hadHistory) {
        close();
        if (!recorder) {
            error_ = damagedForReaders(path_);
            logLine(error_);
            return false;
        }
        if (!startAfresh(nowSeconds, "was damaged")) return false;
        outcome = openConnection();
    }
    if (outcome != OpenOutcome::ready) {
        if (error_.empty()) error_ = "could not open the history database " + path_ + ": " + whyUnusable(path_);
        close();
        logLine(error_);
        return false;
    }
    narrowToPrivate(path_);  // ours: its schema says so
    struct stat info {};
    if (::stat(path_.c_str(), &info) == 0) {
        device_ = info.st_dev;
        inode_ = info.st_ino;
    }
    SqliteStatement newest(db_, historysql::newestMinute);
    if (newest.step() && !newest.isNull(0)) newestMinute_ = newest.int64At(0);
    return true;
}

bool HistoryDatabase::startAfresh(int64_t nowSeconds, const std::string& why) {
    // Closing would checkpoint the log into the damaged file and delete it: both go
    // aside as they are.
    if (db_ != nullptr) sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    close();
    if (auto moved = moveDatabaseAside(path_, nowSeconds)) {
        createPrivateFile(path_);
        RecorderLock::relockDatabase(path_);
        logLine("history database " + path_ + " " + why + "; moved it to " + *moved + " and started a new one");
        return true;
    }
    error_ = "history database " + path_ + " is damaged and could not be moved aside";
    logLine(error_);
    return false;
}

std::string damagedForReaders(const std::string& path) {
    return "history database " + path +
           " is damaged; a running recorder moves it aside within a minute and starts a new one (if none runs, "
           "start one with `quillmere record`); nothing in it is deleted";
}

void HistoryDatabase::keepDamagedWalUnderLock() {
    // Only with the write lock held is the log still: nobody appends while it is read.
    // SQLite has read it already (recovery) and kept what it accepts; a log with
    // committed frames past a broken one holds work SQLite refuses, which a later
    // write would overwrite: a copy keeps it.
    const std::string wal = path_ + "-wal";
    if (execSQL(db_, "BEGIN IMMEDIATE;") != SQLITE_OK) return;
    if (walIsDamaged(wal)) {
        if (auto copy = keepDamagedWal(path_, openedAt_))
            logLine("the history's write-ahead log " + wal + " is damaged; kept a copy as " + *copy);
        else
            logLine("the history's write-ahead log " + wal + " is damaged and no copy of it could be kept");
    }
    execSQL(db_, "ROLLBACK;");
}

HistoryDatabase::OpenOutcome HistoryDatabase::openConnection() {
    if (sqlite3_open_v2(path_.c_str(), &db_, openFlags, nullptr) != SQLITE_OK) {
        error_ = "could not open the history database " + path_ + ": " + whyUnusable(path_);
        close();
        return OpenOutcome::failed;
    }
    sqlite3_busy_timeout(db_, busyTimeoutMs);
    // Readers never checkpoint or delete the log on closing: a log the recorder has not
    // looked at stays as it is.
    if (!recorder_) sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    // A database someone else made (other tables, or tables of our names with other
    // columns) is not ours to write into: it is checked before anything is written.
    SqliteStatement tables(db_, historysql::tableNames);
    if (!tables.prepared()) return meansUnusable(sqlite3_errcode(db_)) ? OpenOutcome::unusable : OpenOutcome::failed;
    if (OpenOutcome schema = schemaOutcome(); schema != OpenOutcome::ready) return schema;
    if (recorder_) keepDamagedWalUnderLock();
    execSQL(db_, historysql::synchronousNormal);
    execSQL(db_, historysql::tempStoreMemory);
    // Making the tables is the recorder's (or whoever starts a new file): anyone else
    // writing here could overwrite a log the recorder has not looked at yet.
    if (!recorder_ && !fresh_) return OpenOutcome::ready;
    execSQL(db_, historysql::journalMode);
    int rc = execSQL(db_, historysql::schema);
    if (meansUnusable(rc)) return OpenOutcome::unusable;
    if (rc != SQLITE_OK) {
        error_ = "could not open the history database " + path_ + ": " + sqlite3_errmsg(db_);
        return OpenOutcome::failed;
    }

    // Readers trust SQLite to report damage as they meet it; the recorder checks its
    // pages once as it starts (a few seconds at most on a big history).
    if (!recorder_) return OpenOutcome::ready;
    constexpr double startCheckSeconds = 5;
    switch (checkPages(db_, startCheckSeconds)) {
        case HealthCheck::damaged: return OpenOutcome::unusable;
        case HealthCheck::failed:
            return meansUnusable(sqlite3_errcode(db_)) ? OpenOutcome::unusable : OpenOutcome::ready;
        default: return OpenOutcome::ready;
    }
}

bool HistoryDatabase::checkWhileRecording() {
    if (!recorder_ || db_ == nullptr) return true;
    // A page check that fits in a few milliseconds: a small history whole, a big one at
    // its newest pages; the header always.
    constexpr double pageCheckSeconds = 0.02;
    HealthCheck result = checkHeader(db_);
    if (result != HealthCheck::damaged) {
        HealthCheck pages = checkPages(db_, pageCheckSeconds);
        if (pages == HealthCheck::unfinished) pages = checkNewestPages(db_);
        if (pages == HealthCheck::damaged) result = pages;
    }
    bool walDamaged = false;
    if (result != HealthCheck::damaged && fileBytes(path_ + "-wal") <= walCheckLimit &&
        execSQL(db_, "BEGIN IMMEDIATE;") == SQLITE_OK) {
        walDamaged = walIsDamaged(path_ + "-wal");
        execSQL(db_, "ROLLBACK;");
    }
    if (result != HealthCheck::damaged && !walDamaged) return true;
    return recoverFromDamage();
}

bool HistoryDatabase::recoverFromDamage() {
    damageSeen_ = false;
    if (!startAfresh(static_cast<int64_t>(std::time(nullptr)), "was damaged while recording")) return false;
    newestMinute_.reset();
    error_.clear();
    if (openConnection() != OpenOutcome::ready) {
        if (error_.empty()) error_ = "could not start a new history database " + path_ + ": " + whyUnusable(path_);
        close();
        logLine(error_);
        return false;
    }
    narrowToPrivate(path_);
    struct stat info {};
    if (::stat(path_.c_str(), &info) == 0) {
        device_ = info.st_dev;
        inode_ = info.st_ino;
    }
    return true;
}

HistoryDatabase::OpenOutcome HistoryDatabase::schemaOutcome() {
    SqliteStatement tables(db_, historysql::tableNames);
    while (tables.step()) {
        const std::string name = tables.textAt(0);
        if (name == "sqlite_sequence" || name.rfind("sqlite_stat", 0) == 0) continue;
        const std::vector<std::string>* columns = nullptr;
        for (const auto& [table, expected] : historysql::expectedColumns())
            if (name == table) columns = &expected;
        if (columns == nullptr) return OpenOutcome::foreign;
        SqliteStatement info(db_, "PRAGMA table_info(\"" + name + "\");");
        std::vector<std::string> found;
        while (info.step()) found.push_back(info.textAt(1));
        if (info.lastResult() != SQLITE_DONE)
            return meansUnusable(info.lastResult()) ? OpenOutcome::unusable : OpenOutcome::failed;
        if (found != *columns) return OpenOutcome::foreign;
    }
    if (tables.lastResult() == SQLITE_DONE) return OpenOutcome::ready;
    return meansUnusable(tables.lastResult()) ? OpenOutcome::unusable : OpenOutcome::failed;
}

void HistoryDatabase::reopenIfReplaced() {
    if (!RecorderLock::heldByThisProcess(path_)) return;
    struct stat info {};
    const bool same = ::stat(path_.c_str(), &info) == 0 && info.st_dev == device_ && info.st_ino == inode_;
    if (same && db_ != nullptr) return;
    logLine("history database " + path_ + " was moved or replaced; reopening it");
    close();
    RecorderLock::relockDatabase(path_);
    error_.clear();
    newestMinute_.reset();
    open(openedAt_);
}

bool HistoryDatabase::noteWrite(int code) {
    if (code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW) return true;
    if (meansUnusable(code) && recorder_) {
        damageSeen_ = true;  // the caller starts a new file and says so in one line
        error_ = "the history database " + path_ + " is damaged: " + sqlite3_errstr(code);
        return false;
    }
    if (writing_) {
        writing_ = false;
        logLine("could not write to the history database " + path_ + " (" + sqlite3_errstr(code) +
                "); keeping the minutes in memory and trying again");
    }
    error_ = "could not write to the history database " + path_ + ": " + sqlite3_errstr(code);
    return false;
}

void HistoryDatabase::noteQuery(const SqliteStatement& query) {
    if (query.prepared() && (query.lastResult() == SQLITE_DONE || query.lastResult() == SQLITE_ROW)) return;
    const int code = query.prepared() ? query.lastResult() : sqlite3_errcode(db_);
    error_ = meansUnusable(code) && !recorder_
                 ? damagedForReaders(path_)
                 : "could not read the history database " + path_ + ": " + sqlite3_errstr(code);
    logLine(error_);
}

bool HistoryDatabase::write(const SystemMinute& minute, const std::vector<AppMinute>& apps) {
    if (writeMinute(minute, apps)) return true;
    return damageSeen_ && recoverFromDamage() && writeMinute(minute, apps);
}

bool HistoryDatabase::write(const TimelineEvent& event) {
    if (writeEvent(event)) return true;
    return damageSeen_ && recoverFromDamage() && writeEvent(event);
}

bool HistoryDatabase::writeMinute(const SystemMinute& minute, const std::vector<AppMinute>& apps) {
    reopenIfReplaced();
    if (db_ == nullptr) return false;
    // A transaction left open by an earlier failed commit would swallow this minute.
    if (sqlite3_get_autocommit(db_) == 0) execSQL(db_, "ROLLBACK;");
    bool ok = noteWrite(execSQL(db_, "BEGIN;"));
    if (ok) {
        SqliteStatement sys(db_, historysql::insertSystemMinute);
        ok = sys.prepared() || noteWrite(sqlite3_errcode(db_));
        if (ok) {
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
            ok = noteWrite(sys.lastResult());
        }
    }
    if (ok && !apps.empty()) {
        SqliteStatement app(db_, historysql::insertAppMinute);
        ok = app.prepared() || noteWrite(sqlite3_errcode(db_));
        for (const AppMinute& row : apps) {
            if (!ok) break;
            app.reset();
            app.bindInt64(1, row.ts);
            app.bindText(2, row.key);
            app.bindText(3, row.name);
            app.bindDouble(4, row.cpu);
            app.bindDouble(5, wholeBytes(row.memory));
            app.bindDouble(6, row.energy);
            app.bindDouble(7, wholeBytes(row.diskWrite));
            app.step();
            ok = noteWrite(app.lastResult());
        }
    }
    if (ok) ok = noteWrite(execSQL(db_, "COMMIT;"));
    if (!ok) {
        if (sqlite3_get_autocommit(db_) == 0) execSQL(db_, "ROLLBACK;");
        return false;
    }
    if (!newestMinute_ || minute.ts > *newestMinute_) newestMinute_ = minute.ts;
    if (!writing_) {
        writing_ = true;
        logLine("writing to the history database " + path_ + " works again");
    }
    error_.clear();
    return true;
}

bool HistoryDatabase::hasMinute(int64_t ts) {
    if (db_ == nullptr) return false;
    SqliteStatement query(db_, historysql::minuteExists);
    query.bindInt64(1, ts);
    return query.step();
}

bool HistoryDatabase::writeEvent(const TimelineEvent& event) {
    reopenIfReplaced();
    if (db_ == nullptr) return false;
    SqliteStatement insert(db_, historysql::insertEvent);
    if (!insert.prepared()) return noteWrite(sqlite3_errcode(db_));
    insert.bindInt64(1, wholeSeconds(event.date));
    insert.bindText(2, std::string(rawValue(event.kind)));
    insert.bindInt(3, static_cast<int>(event.severity));
    insert.bindText(4, event.title);
    insert.bindText(5, event.detail);
    insert.bindText(6, event.appKey);
    insert.bindText(7, event.appName);
    insert.step();
    return noteWrite(insert.lastResult());
}

bool HistoryDatabase::prune(int64_t nowSeconds) {
    if (db_ == nullptr) return false;
    bool ok = noteWrite(execSQL(db_, historysql::pruneSystem(nowSeconds)));
    ok = ok && noteWrite(execSQL(db_, historysql::pruneApps(nowSeconds)));
    ok = ok && noteWrite(execSQL(db_, historysql::pruneEvents(nowSeconds)));
    execSQL(db_, historysql::truncateWAL);  // busy readers may hold it back; that is fine
    return ok;
}

bool HistoryDatabase::eraseAll() {
    if (db_ == nullptr) return false;
    const int rc = execSQL(db_, historysql::eraseAll);
    if (rc != SQLITE_OK) {
        error_ = "could not erase the history database " + path_ + ": " + sqlite3_errmsg(db_);
        logLine(error_);
        return false;
    }
    newestMinute_.reset();
    // VACUUM rewrites the file through the WAL; truncating it makes the space visible
    // at once to whoever looks at the size.
    execSQL(db_, historysql::truncateWAL);
    return true;
}

std::vector<SystemMinute> HistoryDatabase::systemMinutes(int64_t from, int64_t to, int64_t bucket) {
    if (db_ == nullptr) return {};
    SqliteStatement query(db_, historysql::bucketedSystemMinutes(std::max<int64_t>(bucket, 60)));
    auto rows = readBucketedMinutes(query, from, to);
    noteQuery(query);
    return rows;
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
    noteQuery(query);
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
    noteQuery(query);
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
    noteQuery(query);
    return rows;
}

MemoryProfile HistoryDatabase::memoryProfile(int64_t cut) {
    MemoryProfile profile;
    if (db_ == nullptr) return profile;
    SqliteStatement query(db_, historysql::memoryProfile);
    query.bindInt64(1, cut);
    if (!query.step()) {
        noteQuery(query);
        return profile;
    }
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
    if (!query.step()) {
        noteQuery(query);
        return std::nullopt;
    }
    if (query.isNull(0)) return std::nullopt;
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
    noteQuery(query);
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
    if (db_ == nullptr) return {};
    SqliteStatement query(db_, historysql::bucketedSystemMinutes(std::max<int64_t>(bucket, 60)));
    auto rows = readBucketedMinutes(query, from, to);
    if (query.lastResult() != SQLITE_DONE)
        logLine("could not read the history database: " + std::string(sqlite3_errstr(query.lastResult())));
    return rows;
}

}  // namespace qm
