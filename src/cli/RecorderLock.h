// One recorder per history database: an exclusive flock on "<database>.lock", which
// holds the recorder's pid so a second one can name it.
#pragma once

#include <sys/types.h>
#include <optional>
#include <string>

namespace qm::cli {

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
    // Why the lock file could not be opened at all (empty when it could).
    const std::string& error() const { return error_; }

private:
    std::string path_;
    int fd_ = -1;
    bool acquired_ = false;
    std::optional<pid_t> holder_;
    std::string error_;
};

}  // namespace qm::cli
