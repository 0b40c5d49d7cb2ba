// Rows and raw SQL for the history tests.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

#include "core/HistoryRecords.h"

namespace qm::testing {

// An ordinary quiet minute: 4 of 16 GB in use, a little traffic.
inline SystemMinute minuteAt(int64_t ts, double cpu = 10) {
    SystemMinute m;
    m.ts = ts;
    m.cpu = cpu;
    m.memUsed = 4e9;
    m.memTotal = 16e9;
    m.pressure = 30;
    m.pressureLevel = 1;
    m.swap = 1e8;
    m.netRx = 1000;
    m.netTx = 500;
    m.diskRead = 2000;
    m.diskWrite = 3000;
    return m;
}

// A second, independent connection for looking at or tampering with the file, or for
// writing what the store's API cannot (app rows without a minute).
inline void rawExec(const std::string& path, const std::string& sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    sqlite3_close(db);
}

}  // namespace qm::testing
