// SQLite reads a write-ahead log up to its first frame whose checksum fails and
// silently forgets the rest, then deletes the log when the last connection closes.
// Checking the log before opening lets the recorder keep a copy of a damaged one (the
// transactions after the damage are still in it) and lets readers leave it alone.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qm {

// True when `walPath` holds a commit frame of the current log generation after the
// first frame (or header) whose checksum fails: committed work SQLite would drop.
// Only meaningful while no writer appends (the caller holds the write lock).
bool walIsDamaged(const std::string& walPath);

// Copies the log to "<database>.wal-damaged-YYYYMMDD-HHMMSSZ" (a copy: the original
// stays for SQLite). Returns the copy's path, or absent when it could not be written.
std::optional<std::string> keepDamagedWal(const std::string& databasePath, int64_t utcSeconds);

}  // namespace qm
