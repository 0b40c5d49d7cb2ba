// One recorder per history database: an exclusive flock on "<database>.lock", which
// holds the recorder's pid so a second one can name it. The database path is resolved
// first (symlinks, "..", repeated slashes), so every name of the same file meets the
// same lock. A hard link is another name that no resolving reveals: the database file
// itself is locked too (flock belongs to the file, whatever its name), and a file with
// more than one name is refused, since SQLite names its write-ahead log after the path
// and two names would mean two logs. The desktop app and `quillmere record` both take
// it; whoever holds it writes minutes and events, and only the holder may move a
// damaged database aside.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace qm {

class RecorderLock {
public:
    // Tries to take the lock; `holder()` tells who has it when this fails.
    explicit RecorderLock(const std::string& databasePath);
    ~RecorderLock();
    RecorderLock(const RecorderLock&) = delete;
    RecorderLock& operator=(const RecorderLock&) = delete;

    bool acquired() const { return acquired_; }
    // The pid written by the recorder that holds the lock, if it could be read.
    std::optional<pid_t> holder() const { return holder_; }
    const std::string& path() const { return path_; }
    // Why the lock could not be taken other than another recorder holding it by this
    // name: the lock file or the database cannot be opened, is a symlink, has another
    // name, or another recorder holds it under another name (empty otherwise).
    const std::string& error() const { return error_; }

    // After the database was moved aside or replaced: locks the file now at the path.
    // False when another process holds the new file.
    static bool relockDatabase(const std::string& databasePath);

    // True while a RecorderLock of this process holds the lock of `databasePath`
    // (under any of its names).
    static bool heldByThisProcess(const std::string& databasePath);

private:
    bool lockDatabase(const std::string& databasePath);

    std::string path_;
    std::string databasePath_;
    int fd_ = -1;
    int databaseFd_ = -1;  // open as long as SQLite may have the file open: closing it drops SQLite's locks
    bool acquired_ = false;
    std::optional<pid_t> holder_;
    std::string error_;
};

// The database path with symlinks and relative parts resolved as far as the path
// exists; the file itself need not exist yet.
std::string resolvedDatabasePath(const std::string& databasePath);

}  // namespace qm
