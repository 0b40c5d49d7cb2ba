// The SQL of the history database, in one place so the texts stay exactly as the
// database has always known them.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qm::historysql {

inline constexpr const char* journalMode = "PRAGMA journal_mode=WAL;";
inline constexpr const char* synchronousNormal = "PRAGMA synchronous=NORMAL;";
inline constexpr const char* tempStoreMemory = "PRAGMA temp_store=MEMORY;";

// Only creates what is missing: there is no schema version and no migration.
inline constexpr const char* schema =
    "CREATE TABLE IF NOT EXISTS sys(\n"
    "  ts INTEGER PRIMARY KEY, cpu REAL, mem_used REAL, mem_total REAL, pressure REAL, plevel INTEGER,\n"
    "  swap REAL, gpu REAL, power REAL, soc_temp REAL, net_rx REAL, net_tx REAL, disk_r REAL, disk_w REAL,\n"
    "  battery REAL, on_battery INTEGER, thermal INTEGER);\n"
    "CREATE TABLE IF NOT EXISTS app(\n"
    "  ts INTEGER, key TEXT, name TEXT, cpu REAL, mem REAL, energy REAL, disk_w REAL,\n"
    "  PRIMARY KEY(ts, key)) WITHOUT ROWID;\n"
    "CREATE INDEX IF NOT EXISTS app_key ON app(key, ts);\n"
    "CREATE TABLE IF NOT EXISTS event(\n"
    "  id INTEGER PRIMARY KEY AUTOINCREMENT, ts INTEGER, kind TEXT, severity INTEGER,\n"
    "  title TEXT, detail TEXT, app_key TEXT, app_name TEXT);\n"
    "CREATE INDEX IF NOT EXISTS event_ts ON event(ts);";

// The columns each table must have, in order: a file with tables of these names but
// other columns belongs to someone else and is never written into.
inline const std::vector<std::pair<const char*, std::vector<std::string>>>& expectedColumns() {
    static const std::vector<std::pair<const char*, std::vector<std::string>>> tables{
        {"sys",
         {"ts", "cpu", "mem_used", "mem_total", "pressure", "plevel", "swap", "gpu", "power", "soc_temp", "net_rx",
          "net_tx", "disk_r", "disk_w", "battery", "on_battery", "thermal"}},
        {"app", {"ts", "key", "name", "cpu", "mem", "energy", "disk_w"}},
        {"event", {"id", "ts", "kind", "severity", "title", "detail", "app_key", "app_name"}},
    };
    return tables;
}

inline constexpr const char* tableNames = "SELECT name FROM sqlite_master WHERE type = 'table';";
inline constexpr const char* newestMinute = "SELECT MAX(ts) FROM sys;";
inline constexpr const char* minuteExists = "SELECT 1 FROM sys WHERE ts = ?;";

inline constexpr const char* insertSystemMinute =
    "INSERT OR REPLACE INTO sys VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?);";
inline constexpr const char* insertAppMinute = "INSERT OR REPLACE INTO app VALUES(?,?,?,?,?,?,?);";
inline constexpr const char* insertEvent =
    "INSERT INTO event(ts,kind,severity,title,detail,app_key,app_name) VALUES(?,?,?,?,?,?,?);";

// Per-app detail is kept 31 days; system minutes and events 366 days.
inline constexpr int64_t systemRetention = 31622400;
inline constexpr int64_t appRetention = 2678400;

inline std::string pruneSystem(int64_t now) {
    return "DELETE FROM sys WHERE ts < " + std::to_string(now - systemRetention) + ";";
}
inline std::string pruneApps(int64_t now) {
    return "DELETE FROM app WHERE ts < " + std::to_string(now - appRetention) + ";";
}
inline std::string pruneEvents(int64_t now) {
    return "DELETE FROM event WHERE ts < " + std::to_string(now - systemRetention) + ";";
}
inline constexpr const char* truncateWAL = "PRAGMA wal_checkpoint(TRUNCATE);";

inline constexpr const char* eraseAll = "DELETE FROM sys; DELETE FROM app; DELETE FROM event; VACUUM;";

// A bucket reports averages of rates, temperature and load, but the maximum of
// pressure level, swap, total memory, on-battery and thermal state, so the worst
// moment of the bucket stays visible.
inline std::string bucketedSystemMinutes(int64_t bucket) {
    std::string b = std::to_string(bucket);
    return "SELECT (ts / " + b + ") * " + b +
           " AS t, AVG(cpu), AVG(mem_used), MAX(mem_total), AVG(pressure), MAX(plevel), "
           "MAX(swap),\n"
           "AVG(gpu), AVG(power), AVG(soc_temp), AVG(net_rx), AVG(net_tx), AVG(disk_r), "
           "AVG(disk_w), AVG(battery), MAX(on_battery), MAX(thermal)\n"
           "FROM sys WHERE ts >= ? AND ts <= ? GROUP BY t ORDER BY t;";
}

inline constexpr const char* eventsInRange =
    "SELECT id,ts,kind,severity,title,detail,app_key,app_name FROM event WHERE ts >= ? AND ts "
    "<= ? ORDER BY ts DESC LIMIT ";

inline constexpr const char* topApps =
    "SELECT ts,key,name,AVG(cpu),MAX(mem),SUM(energy),SUM(disk_w) FROM app WHERE ts >= ? AND ts "
    "< ? GROUP BY key ORDER BY AVG(cpu) DESC LIMIT 6;";

inline std::string appTotals(bool onlyOnBattery, int limit) {
    std::string sql =
        "SELECT app.key, MAX(app.name), SUM(app.cpu) * 60 / 100.0, SUM(app.energy), "
        "MAX(app.mem), SUM(app.disk_w) * 60\nFROM app ";
    if (onlyOnBattery) sql += "JOIN sys ON sys.ts = app.ts AND sys.on_battery = 1";
    sql +=
        " WHERE app.ts >= ? AND app.ts <= ?\nGROUP BY app.key ORDER BY SUM(app.energy) DESC, "
        "SUM(app.cpu) DESC LIMIT ";
    sql += std::to_string(limit) + ";";
    return sql;
}

// plevel holds the kernel's pressure code as the minute accumulator records it
// (1 normal, 2 warning, 4 critical), so "pressured" (critical) is a code of 4 or more.
inline constexpr const char* memoryProfile =
    "SELECT COUNT(*), SUM(CASE WHEN plevel >= 4 THEN 1 ELSE 0 END), MAX(swap), MAX(mem_used) "
    "FROM sys WHERE ts >= ?;";

inline constexpr const char* lastOnMains = "SELECT MAX(ts) FROM sys WHERE on_battery = 0;";

// Raw rows for export.
inline constexpr const char* appMinutesInRange =
    "SELECT ts,key,name,cpu,mem,energy,disk_w FROM app WHERE ts >= ? AND ts <= ? ORDER BY ts, "
    "key;";

}  // namespace qm::historysql
