#include "history/RecorderLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>

#include "core/FileRead.h"

namespace qm {

namespace {

// Lock files held by this process, so that the history store can tell whether it
// runs in the recorder without a second open of the lock file (flock is per open
// file, so a second open in the same process would be refused).
std::mutex heldLock;
std::map<std::string, RecorderLock*>& heldPaths() {
    static std::map<std::string, RecorderLock*> paths;
    return paths;
}

std::string lockPathFor(const std::string& databasePath) { return resolvedDatabasePath(databasePath) + ".lock"; }

// With standard input, output or error closed at start, open() hands out 0, 1 or 2;
// the lock file must not take one of them, or the banner would be written into it.
int aboveStandardStreams(int fd) {
    if (fd < 0 || fd > 2) return fd;
    int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, 3);
    ::close(fd);
    return moved;
}

}  // namespace

std::string resolvedDatabasePath(const std::string& databasePath) {
    std::error_code error;
    auto resolved = std::filesystem::weakly_canonical(std::filesystem::absolute(databasePath, error), error);
    if (error || resolved.empty()) return databasePath;
    return resolved.string();
}

RecorderLock::RecorderLock(const std::string& databasePath)
    : path_(lockPathFor(databasePath)), databasePath_(databasePath) {
    fd_ = aboveStandardStreams(::open(path_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (fd_ < 0) {
        error_ = "cannot use " + path_ + ": " + std::strerror(errno);
        return;
    }
    if (::flock(fd_, LOCK_EX | LOCK_NB) != 0) {
        if (auto text = readFile(path_, 64))
            if (auto pid = parseInt(trim(*text)); pid && *pid > 0) holder_ = static_cast<pid_t>(*pid);
        return;
    }
    if (!lockDatabase(databasePath_)) {
        ::close(fd_);  // releases the lock of this name
        fd_ = -1;
        return;
    }
    acquired_ = true;
    {
        std::lock_guard guard(heldLock);
        heldPaths()[path_] = this;
    }
    const std::string pid = std::to_string(::getpid()) + "\n";
    if (::ftruncate(fd_, 0) == 0) {
        [[maybe_unused]] auto written = ::pwrite(fd_, pid.data(), pid.size(), 0);
    }
}

bool RecorderLock::lockDatabase(const std::string& databasePath) {
    // The database itself, never through a symlink; made here when it does not exist yet.
    int fd = aboveStandardStreams(::open(databasePath.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (fd < 0) {
        error_ = errno == ELOOP    ? databasePath + " is a symbolic link; name the history file itself"
                 : errno == EISDIR ? "cannot use " + databasePath + ": it is a folder, not a file"
                                   : "cannot open " + databasePath + ": " + std::strerror(errno);
        return false;
    }
    struct stat info {};
    std::string refusal;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode))
        refusal = databasePath + " is not a regular file";
    else if (info.st_nlink > 1)
        refusal = databasePath + " has " + std::to_string(info.st_nlink) +
                  " names (hard links); SQLite keeps one write-ahead log per name, so recording into it could lose "
                  "minutes: remove the other names first";
    else if (::flock(fd, LOCK_EX | LOCK_NB) != 0)
        refusal = "another recorder is already recording to " + databasePath + " under another name";
    if (!refusal.empty()) {
        ::close(fd);
        error_ = refusal;
        return false;
    }
    if (databaseFd_ >= 0) ::close(databaseFd_);
    databaseFd_ = fd;
    return true;
}

bool RecorderLock::relockDatabase(const std::string& databasePath) {
    std::lock_guard guard(heldLock);
    auto held = heldPaths().find(lockPathFor(databasePath));
    return held != heldPaths().end() && held->second->lockDatabase(databasePath);
}

RecorderLock::~RecorderLock() {
    if (databaseFd_ >= 0) ::close(databaseFd_);
    if (fd_ < 0) return;
    if (acquired_) {
        {
            std::lock_guard guard(heldLock);
            heldPaths().erase(path_);
        }
        [[maybe_unused]] auto truncated = ::ftruncate(fd_, 0);
    }
    ::close(fd_);  // closing releases the flock
}

bool RecorderLock::heldByThisProcess(const std::string& databasePath) {
    const std::string lockPath = lockPathFor(databasePath);
    std::lock_guard guard(heldLock);
    return heldPaths().count(lockPath) != 0;
}

}  // namespace qm
