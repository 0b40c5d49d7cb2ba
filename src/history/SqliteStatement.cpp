#include "history/SqliteStatement.h"

namespace qm {

SqliteStatement::SqliteStatement(sqlite3* db, const std::string& sql) {
    if (db == nullptr) return;
    if (sqlite3_prepare_v2(db, sql.c_str(), static_cast<int>(sql.size()), &stmt_, nullptr) != SQLITE_OK) {
        sqlite3_finalize(stmt_);
        stmt_ = nullptr;
    }
}

SqliteStatement::~SqliteStatement() { sqlite3_finalize(stmt_); }

void SqliteStatement::bindInt64(int index, int64_t value) {
    if (stmt_) sqlite3_bind_int64(stmt_, index, value);
}

void SqliteStatement::bindInt(int index, int value) {
    if (stmt_) sqlite3_bind_int(stmt_, index, value);
}

void SqliteStatement::bindDouble(int index, double value) {
    if (stmt_) sqlite3_bind_double(stmt_, index, value);
}

void SqliteStatement::bindDouble(int index, std::optional<double> value) {
    if (!stmt_) return;
    if (value)
        sqlite3_bind_double(stmt_, index, *value);
    else
        sqlite3_bind_null(stmt_, index);
}

void SqliteStatement::bindText(int index, const std::string& value) {
    if (stmt_) sqlite3_bind_text(stmt_, index, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
}

void SqliteStatement::bindText(int index, const std::optional<std::string>& value) {
    if (!stmt_) return;
    if (value)
        bindText(index, *value);
    else
        sqlite3_bind_null(stmt_, index);
}

bool SqliteStatement::step() {
    if (!stmt_) return false;
    lastResult_ = sqlite3_step(stmt_);
    return lastResult_ == SQLITE_ROW;
}

void SqliteStatement::reset() {
    if (stmt_) sqlite3_reset(stmt_);
}

bool SqliteStatement::isNull(int column) const { return !stmt_ || sqlite3_column_type(stmt_, column) == SQLITE_NULL; }

int64_t SqliteStatement::int64At(int column) const { return stmt_ ? sqlite3_column_int64(stmt_, column) : 0; }

double SqliteStatement::doubleAt(int column) const { return stmt_ ? sqlite3_column_double(stmt_, column) : 0; }

std::optional<double> SqliteStatement::optionalDoubleAt(int column) const {
    if (isNull(column)) return std::nullopt;
    return sqlite3_column_double(stmt_, column);
}

std::string SqliteStatement::textAt(int column) const { return optionalTextAt(column).value_or(std::string()); }

std::optional<std::string> SqliteStatement::optionalTextAt(int column) const {
    if (isNull(column)) return std::nullopt;
    const auto* text = sqlite3_column_text(stmt_, column);
    int length = sqlite3_column_bytes(stmt_, column);
    if (text == nullptr) return std::string();
    return std::string(reinterpret_cast<const char*>(text), static_cast<size_t>(length));
}

int execSQL(sqlite3* db, const std::string& sql) {
    if (db == nullptr) return SQLITE_MISUSE;
    return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
}

}  // namespace qm
