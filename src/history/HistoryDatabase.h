// One connection to the history database and every read and write on it, run
// synchronously. Not thread-safe: the HistoryStore confines it to its serial queue.
// When the database could not be opened every write does nothing and every query
// answers empty; error() then says why, in words naming the file. Only the process
// holding the recorder lock moves a damaged database aside or reopens a file that was
// replaced under it: any other process reports the damage and leaves the file alone.
#pragma once

#include <sqlite3.h>
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/HistoryRecords.h"
#include "core/Snapshot.h"

namespace qm {

// The RAM advisor's view of the last days: recorded minutes, the share of them at
// critical pressure, and the peaks of swap and used memory (bytes).
struct MemoryProfile {
    int64_t minutes = 0;
    double pressuredFraction = 0;
    double peakSwap = 0;
    double peakUsed = 0;
    bool operator==(const MemoryProfile&) const = default;
};

class HistoryDatabase {
public:
    static constexpr int eventLimit = 500;

    // Opens (creating when needed) the database at `path`. `nowSeconds` names the
    // file an unusable database is moved aside to.
    HistoryDatabase(std::string path, int64_t nowSeconds);
    ~HistoryDatabase();
    HistoryDatabase(const HistoryDatabase&) = delete;
    HistoryDatabase& operator=(const HistoryDatabase&) = delete;

    bool isOpen() const { return db_ != nullptr; }
    const std::string& path() const { return path_; }
    // Why the database is not open, or why the last statement failed; empty when all went well.
    const std::string& error() const { return error_; }
    // The newest stored minute (`sys` ts), absent in an empty history.
    std::optional<int64_t> newestMinute() const { return newestMinute_; }
    // The raw connection, for tests that need to provoke failures.
    sqlite3* handle() const { return db_; }

    // Each returns whether the rows are now stored (false: busy, full, read-only, ...).
    // In the recorder, a write that finds the file damaged moves it aside, starts a
    // new one and writes there.
    bool write(const SystemMinute& minute, const std::vector<AppMinute>& apps);
    bool write(const TimelineEvent& event);
    // The recorder's periodic check that its file is still sound (header, pages within
    // a few milliseconds, the write-ahead log under the write lock); damage is handled
    // as in write(). False only when no usable file could be set up.
    bool checkWhileRecording();
    // Whether a `sys` row of this minute is stored.
    bool hasMinute(int64_t ts);
    bool prune(int64_t nowSeconds);
    bool eraseAll();

    std::vector<SystemMinute> systemMinutes(int64_t from, int64_t to, int64_t bucket);
    std::vector<TimelineEvent> events(int64_t from, int64_t to, int limit = eventLimit);
    std::vector<AppMinute> topApps(int64_t at, int64_t window);
    std::vector<AppTotal> appTotals(int64_t from, int64_t to, bool onlyOnBattery, int limit);
    MemoryProfile memoryProfile(int64_t cut);
    std::optional<Date> lastUnplugged();
    // Every app row in the range, oldest first (for export).
    std::vector<AppMinute> appMinutes(int64_t from, int64_t to);

private:
    bool open(int64_t nowSeconds);
    bool writeMinute(const SystemMinute& minute, const std::vector<AppMinute>& apps);
    bool writeEvent(const TimelineEvent& event);
    // Moves the file (and its log) aside and makes an empty one in its place; one log line.
    bool startAfresh(int64_t nowSeconds, const std::string& why);
    bool recoverFromDamage();
    void keepDamagedWalUnderLock();
    // Result of the open step on an existing file: usable, unusable (move aside), another
    // program's valid database (leave it alone), or failed for another reason (a full
    // disk or a read-only folder must not cost the user the file).
    enum class OpenOutcome { ready, unusable, foreign, failed };
    OpenOutcome openConnection();
    // ready when every table is one of ours with our columns; foreign otherwise.
    OpenOutcome schemaOutcome();
    void close();
    // A write that failed: logged once per run of failures, with SQLite's reason.
    bool noteWrite(int code);
    // A query that failed to prepare or to step to its end: logged, never silent.
    void noteQuery(const class SqliteStatement& query);
    // The recorder reopens its file when someone moved or replaced it.
    void reopenIfReplaced();

    std::string path_;
    sqlite3* db_ = nullptr;
    std::string error_;
    std::optional<int64_t> newestMinute_;
    bool writing_ = true;  // false while writes fail, until one succeeds again
    bool recorder_ = false;
    bool fresh_ = false;  // nothing was at the path (no file, no log) when it was opened
    bool damageSeen_ = false;
    // The log is read whole to check it; one bigger than this (right after a large
    // prune, before its truncation) waits for the next check.
    static constexpr uint64_t walCheckLimit = 16u << 20;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    int64_t openedAt_ = 0;
};

// A second connection to the same file that only reads, so that a long range of
// system minutes can be read in two halves at once: WAL lets readers run beside the
// writer. Not thread-safe, like HistoryDatabase; inert when the file cannot be opened.
class HistoryReadConnection {
public:
    explicit HistoryReadConnection(const std::string& path);
    ~HistoryReadConnection();
    HistoryReadConnection(const HistoryReadConnection&) = delete;
    HistoryReadConnection& operator=(const HistoryReadConnection&) = delete;

    bool isOpen() const { return db_ != nullptr; }
    std::vector<SystemMinute> systemMinutes(int64_t from, int64_t to, int64_t bucket);

private:
    sqlite3* db_ = nullptr;
};

// What a reader says when the history is damaged: what happens to it and what to do.
std::string damagedForReaders(const std::string& path);

// Dates are whole seconds since 1970, truncated toward zero; dates beyond the range
// of Int64 seconds are clamped rather than trusted.
int64_t wholeSeconds(Date date);

}  // namespace qm
