// Starting the real quillmere-helper on a temporary socket, and small socket tools.
#pragma once

#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

namespace qm::test {

inline std::string temporarySocket(const std::string& name) {
    auto path = std::filesystem::temp_directory_path() / ("qm-" + name + "-" + std::to_string(::getpid()) + ".sock");
    std::filesystem::remove(path);
    return path.string();
}

// The helper binary listening on `path`, stopped when the object goes.
class RunningHelper {
public:
    explicit RunningHelper(const std::string& path, const char* idleExit = "30") : path_(path) {
        pid_ = ::fork();
        if (pid_ == 0) {
            ::execl(QM_HELPER_BINARY, QM_HELPER_BINARY, "--socket", path.c_str(), "--allow-all-users", "--idle-exit",
                    idleExit, static_cast<char*>(nullptr));
            ::_exit(127);
        }
        for (int i = 0; i < 500 && !listening(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ~RunningHelper() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        std::filesystem::remove(path_);
    }
    bool listening() const {
        struct stat st {};
        return ::stat(path_.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
    }
    bool alive() const { return pid_ > 0 && ::waitpid(pid_, nullptr, WNOHANG) == 0; }
    pid_t pid() const { return pid_; }

private:
    std::string path_;
    pid_t pid_ = -1;
};

// A plain blocking connection to a Unix socket; -1 on failure.
inline int connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// A listening socket bound to `path` that the test serves (or never serves).
inline int listenAt(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || ::listen(fd, 8) != 0)
        return -1;
    return fd;
}

}  // namespace qm::test
