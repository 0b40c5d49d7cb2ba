// A prepared SQLite statement that finalizes itself, with the few bind and column
// helpers the history needs. A statement that failed to prepare is inert: binds and
// steps do nothing and report no rows, so callers skip it without special cases.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>

namespace qm {

class SqliteStatement {
public:
    SqliteStatement(sqlite3* db, const std::string& sql);
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    bool prepared() const { return stmt_ != nullptr; }

    void bindInt64(int index, int64_t value);
    void bindInt(int index, int value);
    void bindDouble(int index, double value);
    void bindDouble(int index, std::optional<double> value);  // NULL when absent
    void bindText(int index, const std::string& value);
    void bindText(int index, const std::optional<std::string>& value);  // NULL when absent

    // Advances; true while a row is available. lastResult() holds the SQLite code.
    bool step();
    int lastResult() const { return lastResult_; }
    void reset();

    bool isNull(int column) const;
    int64_t int64At(int column) const;
    double doubleAt(int column) const;
    std::optional<double> optionalDoubleAt(int column) const;
    std::string textAt(int column) const;  // "" for NULL
    std::optional<std::string> optionalTextAt(int column) const;

private:
    sqlite3_stmt* stmt_ = nullptr;
    int lastResult_ = SQLITE_MISUSE;
};

// sqlite3_exec without a callback; returns the SQLite result code.
int execSQL(sqlite3* db, const std::string& sql);

}  // namespace qm
