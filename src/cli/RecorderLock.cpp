#include "cli/RecorderLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "core/FileRead.h"

namespace qm::cli {

RecorderLock::RecorderLock(const std::string& databasePath) : path_(databasePath + ".lock") {
    fd_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ < 0) {
        error_ = std::strerror(errno);
        return;
    }
    if (::flock(fd_, LOCK_EX | LOCK_NB) != 0) {
        if (auto text = readFile(path_, 64))
            if (auto pid = parseInt(trim(*text)); pid && *pid > 0) holder_ = static_cast<pid_t>(*pid);
        return;
    }
    acquired_ = true;
    const std::string pid = std::to_string(::getpid()) + "\n";
    if (::ftruncate(fd_, 0) == 0) {
        [[maybe_unused]] auto written = ::pwrite(fd_, pid.data(), pid.size(), 0);
    }
}

RecorderLock::~RecorderLock() {
    if (fd_ < 0) return;
    if (acquired_) {
        [[maybe_unused]] auto truncated = ::ftruncate(fd_, 0);
    }
    ::close(fd_);  // closing releases the flock
}

}  // namespace qm::cli
