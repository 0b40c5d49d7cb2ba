// quillmere-helper: the read-only privileged helper. systemd starts it as root when a
// client connects to quillmere-helper.socket; it answers with every process's CPU,
// memory and disk counters, or the machine's RAPL energy counters, and exits when idle.
// It reads numbers only and changes nothing.
//
//   quillmere-helper [--socket PATH] (--group NAME | --allow-all-users) [--idle-exit SECONDS]
//
// Without a socket from systemd it listens on PATH itself (tests, manual runs). It
// answers root and the members of --group; answering every user takes the explicit
// --allow-all-users, so a unit that forgot its group does not serve everyone silently.
#include <grp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "core/FileRead.h"
#include "core/Log.h"
#include "helper/linux/HelperServer.h"

namespace {

int listenOn(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return -1;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    struct stat existing {};
    if (::lstat(path.c_str(), &existing) == 0 && S_ISSOCK(existing.st_mode)) ::unlink(path.c_str());
    // Who may ask is decided per connection (--group), so anyone may connect.
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::chmod(path.c_str(), 0666) != 0 || ::listen(fd, 64) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

int usage() {
    qm::logLine("usage: quillmere-helper [--socket PATH] (--group NAME | --allow-all-users) [--idle-exit SECONDS]");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    ::signal(SIGPIPE, SIG_IGN);
    qm::helper::ServerOptions options;
    std::string socketPath;
    bool allUsers = false;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--allow-all-users") {
            allUsers = true;
            continue;
        }
        if (i + 1 >= argc) return usage();
        std::string value = argv[++i];
        if (arg == "--socket") {
            socketPath = value;
        } else if (arg == "--group") {
            group* entry = ::getgrnam(value.c_str());
            if (!entry) {
                // Nobody but root can be a member of a group that does not exist.
                qm::logLine("quillmere-helper: no group \"" + value + "\"; answering root only");
                options.group = static_cast<gid_t>(-1);
            } else {
                options.group = entry->gr_gid;
            }
        } else if (arg == "--idle-exit") {
            auto seconds = qm::parseDouble(value);
            if (!seconds || *seconds < 0) return usage();
            options.idleExit = *seconds;
        } else {
            return usage();
        }
    }

    if (!options.group && !allUsers) {
        qm::logLine(
            "quillmere-helper: refusing to answer every user; pass --group NAME (the shipped unit passes --group "
            "quillmere) or --allow-all-users");
        return 2;
    }
    if (options.group && allUsers) return usage();

    int fd = -1;
    if (::sd_listen_fds(1) == 1 && ::sd_is_socket_unix(SD_LISTEN_FDS_START, SOCK_STREAM, 1, nullptr, 0) > 0)
        fd = SD_LISTEN_FDS_START;
    else if (!socketPath.empty())
        fd = listenOn(socketPath);
    if (fd < 0) {
        qm::logLine(socketPath.empty() ? "quillmere-helper: no socket from systemd and no --socket PATH"
                                       : "quillmere-helper: cannot listen on " + socketPath);
        return 1;
    }
    if (::geteuid() != 0) qm::logLine("quillmere-helper: not running as root; other users' disk counters stay hidden");
    return qm::helper::serve(fd, options);
}
