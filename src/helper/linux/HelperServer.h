// The helper's one loop: accept a connection, read its 8-byte request, write the
// answer, close. Every connection has a time limit, so clients that send garbage,
// send nothing or never read cannot hold the helper; after a quiet spell it exits and
// systemd starts it again on the next connection.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

namespace qm::helper {

struct ServerOptions {
    double idleExit = 60;        // seconds without a connection before exiting; 0 never
    double connectionLimit = 2;  // seconds one connection may take from accept to close
    size_t maxConnections = 32;  // beyond this the oldest still silent is closed
    size_t maxPerUser = 8;       // one user's share of them
    std::optional<gid_t> group;  // when set, only root and this group's members are answered
    std::string proc = "/proc";  // where processes are read
    std::string root;            // prefix for /sys (RAPL)
};

// Serves `listenFd` (a listening Unix stream socket) until idle; returns the exit status.
int serve(int listenFd, const ServerOptions& options);

// Whether the user may ask: root, or a member of `group` in the group database
// (read at each connection, so adding a user takes effect without a new login).
bool userMayAsk(uid_t uid, std::optional<gid_t> group);

}  // namespace qm::helper
