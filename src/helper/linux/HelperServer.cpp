#include "helper/linux/HelperServer.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <vector>

#include "core/HelperProtocol.h"
#include "helper/linux/ProcessRecords.h"

namespace qm::helper {

namespace {

using Clock = std::chrono::steady_clock;

struct Connection {
    int fd = -1;
    uid_t uid = 0;
    Clock::time_point deadline;
    std::array<uint8_t, headerSize> request{};
    size_t received = 0;
    std::vector<uint8_t> answer;  // empty while the request is still coming in
    size_t sent = 0;
};

Clock::duration seconds(double s) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(s));
}

std::optional<uid_t> peerUID(int fd) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return std::nullopt;
    return credentials.uid;
}

std::vector<uint8_t> answerFor(Request request, const ServerOptions& options) {
    auto header = replyHeader(request);
    std::vector<uint8_t> payload =
        request == Request::processes ? processRecords(options.proc) : energyRecords(options.root);
    std::vector<uint8_t> answer(header.begin(), header.end());
    answer.insert(answer.end(), payload.begin(), payload.end());
    return answer;
}

// Reads what the client sent; false when the connection is finished (closed,
// garbage, or a request that was answered in full at once).
bool readRequest(Connection& c, const ServerOptions& options) {
    ssize_t n = ::recv(c.fd, c.request.data() + c.received, c.request.size() - c.received, 0);
    if (n < 0) return errno == EAGAIN || errno == EINTR;
    if (n == 0) return false;
    c.received += static_cast<size_t>(n);
    if (c.received < c.request.size()) return true;
    auto request = parseRequest(c.request.data(), c.request.size());
    if (!request) return false;  // garbage: no answer at all
    c.answer = answerFor(*request, options);
    return true;
}

// Writes what the socket takes; false once everything is sent or the client is gone.
bool writeAnswer(Connection& c) {
    while (c.sent < c.answer.size()) {
        ssize_t n = ::send(c.fd, c.answer.data() + c.sent, c.answer.size() - c.sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            c.sent += static_cast<size_t>(n);
            continue;
        }
        return n < 0 && (errno == EAGAIN || errno == EINTR);
    }
    return false;
}

}  // namespace

bool userMayAsk(uid_t uid, std::optional<gid_t> group) {
    if (uid == 0 || !group) return true;
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* user = nullptr;
    if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &user) != 0 || !user) return false;
    if (user->pw_gid == *group) return true;
    int count = 64;
    std::vector<gid_t> groups(static_cast<size_t>(count));
    if (::getgrouplist(user->pw_name, user->pw_gid, groups.data(), &count) < 0) {
        groups.resize(static_cast<size_t>(std::max(count, 0)));
        if (count <= 0 || ::getgrouplist(user->pw_name, user->pw_gid, groups.data(), &count) < 0) return false;
    }
    groups.resize(static_cast<size_t>(count));
    return std::find(groups.begin(), groups.end(), *group) != groups.end();
}

int serve(int listenFd, const ServerOptions& options) {
    // Accepting drains the queue until it would block, so the socket must not block.
    int flags = ::fcntl(listenFd, F_GETFL);
    if (flags < 0 || ::fcntl(listenFd, F_SETFL, flags | O_NONBLOCK) != 0) return 1;
    std::vector<Connection> connections;
    auto lastActivity = Clock::now();
    for (;;) {
        auto now = Clock::now();
        // Connections past their time limit are dropped, whatever state they are in.
        std::erase_if(connections, [&](const Connection& c) {
            if (now < c.deadline) return false;
            ::close(c.fd);
            return true;
        });
        auto wake = Clock::time_point::max();
        for (const auto& c : connections) wake = std::min(wake, c.deadline);
        if (connections.empty() && options.idleExit > 0) {
            auto idleEnd = lastActivity + seconds(options.idleExit);
            if (now >= idleEnd) return 0;
            wake = idleEnd;
        }
        int timeoutMs = -1;
        if (wake != Clock::time_point::max())
            timeoutMs = static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(wake - now).count());

        std::vector<pollfd> polled{{listenFd, POLLIN, 0}};
        for (const auto& c : connections)
            polled.push_back({c.fd, static_cast<short>(c.answer.empty() ? POLLIN : POLLOUT), 0});
        int ready = ::poll(polled.data(), polled.size(), timeoutMs);
        if (ready < 0) {
            if (errno == EINTR) continue;
            return 1;
        }

        // Connections first, while their indexes still match the poll list.
        std::vector<bool> finished(connections.size(), false);
        for (size_t i = 0; i < connections.size(); ++i) {
            short events = polled[i + 1].revents;
            if (!events) continue;
            Connection& c = connections[i];
            bool open = c.answer.empty() ? readRequest(c, options) : true;
            if (open && !c.answer.empty()) open = writeAnswer(c);
            if (!open || (events & (POLLERR | POLLNVAL))) finished[i] = true;
        }
        for (size_t i = connections.size(); i-- > 0;) {
            if (!finished[i]) continue;
            ::close(connections[i].fd);
            connections.erase(connections.begin() + static_cast<std::ptrdiff_t>(i));
        }

        if (polled[0].revents & POLLIN) {
            for (;;) {
                int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
                if (fd < 0) break;
                lastActivity = Clock::now();
                auto uid = peerUID(fd);
                if (!uid || !userMayAsk(*uid, options.group)) {
                    ::close(fd);
                    continue;
                }
                // A user at their share, or a full helper, makes room by closing the
                // oldest connection still waiting for its request: of this user, or of
                // whoever holds the most. A crowd of idle connections costs only the
                // user who opened them, never another user's client.
                const auto heldBy = [&](uid_t user) {
                    return static_cast<size_t>(std::count_if(connections.begin(), connections.end(),
                                                             [&](const Connection& c) { return c.uid == user; }));
                };
                std::optional<uid_t> evict;
                if (heldBy(*uid) >= options.maxPerUser) {
                    evict = *uid;
                } else if (connections.size() >= options.maxConnections) {
                    evict = connections.front().uid;
                    for (const Connection& c : connections)
                        if (heldBy(c.uid) > heldBy(*evict)) evict = c.uid;
                }
                if (evict) {
                    auto oldest = std::find_if(connections.begin(), connections.end(), [&](const Connection& c) {
                        return c.uid == *evict && c.answer.empty();
                    });
                    if (oldest == connections.end()) {
                        ::close(fd);
                        continue;
                    }
                    ::close(oldest->fd);
                    connections.erase(oldest);
                }
                Connection c;
                c.fd = fd;
                c.uid = *uid;
                c.deadline = lastActivity + seconds(options.connectionLimit);
                connections.push_back(std::move(c));
            }
        }
    }
}

}  // namespace qm::helper
