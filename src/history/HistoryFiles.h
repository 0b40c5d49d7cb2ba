// The files around the history database: its private folder, its size on disk,
// and moving an unusable database aside so the user's old history is never lost.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qm {

// Where the history lives: $QUILLMERE_DB when set, else <data directory>/history.sqlite.
std::string defaultHistoryPath();

// Creates the folder and any missing parents; folders created here are private (0700),
// and the data folder, when it is ours, is narrowed to 0700 if it was wider. Returns
// false when the folder does not exist afterwards.
bool ensurePrivateDirectory(const std::string& path);

// Creates an empty file readable by the user only (0600) when nothing is at `path`;
// never follows a symlink (a dangling one creates nothing).
void createPrivateFile(const std::string& path);

// Narrows the file to 0600 when it is a regular file of this user: only the history
// Quillmere made is changed, never a file reached through a link or another user's.
// SQLite gives its -wal and -shm files the same mode.
void narrowToPrivate(const std::string& path);

// Why the history at `path` must not be opened, or empty when it may: a symlink (the
// file itself must be named), or, for the recorder (`writing`), a file or folder of
// another user (as root, recording would write into someone else's history).
std::string historyPathRefusal(const std::string& path, bool writing);

// Why the database file cannot be opened for reading and writing, in words ("it is a
// folder", "Permission denied", "Read-only file system"); for the one-line error.
std::string whyUnusable(const std::string& path);

// True when something is at `path` that a reader should open: a non-empty file, or
// anything that is not a regular file (a folder in its place must be reported, not
// taken for "no history yet").
bool hasHistoryFile(const std::string& path);

// Bytes of the file, 0 when it is missing or unreadable.
uint64_t fileBytes(const std::string& path);

// False when the file has content that does not begin with SQLite's header (an empty
// or missing file is fine: SQLite makes a database of it).
bool hasDatabaseHeader(const std::string& path);

// "<path>.corrupt-YYYYMMDD-HHMMSSZ" for the given UTC time (seconds since 1970).
std::string corruptName(const std::string& path, int64_t utcSeconds);

// Renames the database and its -wal and -shm files to corruptName(...) plus the same
// suffixes. Returns the new database path, or absent when the database could not be moved.
std::optional<std::string> moveDatabaseAside(const std::string& path, int64_t utcSeconds);

}  // namespace qm
