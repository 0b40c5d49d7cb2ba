#include "history/DatabaseHealth.h"

#include <chrono>
#include <cstring>

#include "history/SqliteStatement.h"

namespace qm {

namespace {

bool meansDamage(int code) {
    const int primary = code & 0xff;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

HealthCheck fromCode(int code) {
    if (code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW) return HealthCheck::sound;
    return meansDamage(code) ? HealthCheck::damaged : HealthCheck::failed;
}

}  // namespace

HealthCheck checkHeader(sqlite3* db) {
    sqlite3_file* file = nullptr;
    if (sqlite3_file_control(db, "main", SQLITE_FCNTL_FILE_POINTER, static_cast<void*>(&file)) != SQLITE_OK ||
        file == nullptr || file->pMethods == nullptr)
        return HealthCheck::failed;
    unsigned char header[100] = {};
    const int rc = file->pMethods->xRead(file, header, sizeof header, 0);
    // A short read of a file that has pages means it was cut.
    if (rc == SQLITE_IOERR_SHORT_READ) return HealthCheck::damaged;
    if (rc != SQLITE_OK) return HealthCheck::failed;
    static constexpr char magic[] = "SQLite format 3";
    if (std::memcmp(header, magic, sizeof magic) != 0) return HealthCheck::damaged;
    const unsigned stored = (static_cast<unsigned>(header[16]) << 8) | header[17];
    const unsigned pageSize = stored == 1 ? 65536 : stored;
    SqliteStatement size(db, "PRAGMA page_size;");
    if (!size.step())
        return fromCode(size.lastResult()) == HealthCheck::damaged ? HealthCheck::damaged : HealthCheck::failed;
    if (static_cast<int64_t>(pageSize) != size.int64At(0)) return HealthCheck::damaged;
    // Versions 1 (rollback) or 2 (WAL); the payload fractions are fixed at 64, 32, 32.
    const bool versions = (header[18] == 1 || header[18] == 2) && (header[19] == 1 || header[19] == 2);
    const bool fractions = header[21] == 64 && header[22] == 32 && header[23] == 32;
    return versions && fractions ? HealthCheck::sound : HealthCheck::damaged;
}

HealthCheck checkPages(sqlite3* db, double seconds) {
    sqlite3_db_release_memory(db);  // read the pages from the file, not from memory
    using Clock = std::chrono::steady_clock;
    struct Budget {
        Clock::time_point deadline;
        bool ranOut = false;
    } budget{Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds))};
    sqlite3_progress_handler(
        db, 1000,
        [](void* context) {
        auto* b = static_cast<Budget*>(context);
        b->ranOut = Clock::now() > b->deadline;
        return b->ranOut ? 1 : 0;
        },
        &budget);
    SqliteStatement check(db, "PRAGMA quick_check;");
    HealthCheck result = HealthCheck::failed;
    if (!check.prepared()) {
        result = fromCode(sqlite3_errcode(db)) == HealthCheck::damaged ? HealthCheck::damaged : HealthCheck::failed;
    } else if (check.step()) {
        result = check.textAt(0) == "ok" ? HealthCheck::sound : HealthCheck::damaged;
    } else if (budget.ranOut) {
        result = HealthCheck::unfinished;
    } else {
        result = fromCode(check.lastResult()) == HealthCheck::damaged ? HealthCheck::damaged : HealthCheck::failed;
    }
    sqlite3_progress_handler(db, 0, nullptr, nullptr);
    return result;
}

HealthCheck checkNewestPages(sqlite3* db) {
    sqlite3_db_release_memory(db);
    for (const char* sql : {"SELECT COUNT(*) FROM sqlite_master;", "SELECT * FROM sys ORDER BY ts DESC LIMIT 1;",
                            "SELECT * FROM app ORDER BY ts DESC, key DESC LIMIT 1;",
                            "SELECT key, ts FROM app INDEXED BY app_key ORDER BY key DESC, ts DESC LIMIT 1;",
                            "SELECT * FROM event ORDER BY id DESC LIMIT 1;",
                            "SELECT ts FROM event INDEXED BY event_ts ORDER BY ts DESC LIMIT 1;"}) {
        SqliteStatement query(db, sql);
        if (!query.prepared()) return fromCode(sqlite3_errcode(db));
        while (query.step()) {
        }
        if (HealthCheck r = fromCode(query.lastResult()); r != HealthCheck::sound) return r;
    }
    return HealthCheck::sound;
}

}  // namespace qm
