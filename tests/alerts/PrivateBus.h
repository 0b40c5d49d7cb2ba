// A session bus of the test's own (never the machine's), and a notification server on
// it that records what it is sent and presses buttons when told to.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "core/Log.h"

namespace qm::testing {

// `dbus-daemon --session --nofork` with a configuration that starts no services, so
// nothing on this machine answers in place of the test's own server.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    // False (with the reason in `problem()`) when dbus-daemon is missing or failed.
    bool running() const { return !address_.empty(); }
    const std::string& address() const { return address_; }
    const std::string& problem() const { return problem_; }
    // Ends the daemon, as when the user's session ends under a running program.
    void stop();

private:
    std::string directory_;
    std::string address_;
    std::string problem_;
    pid_t daemon_ = -1;
};

// org.freedesktop.Notifications at /org/freedesktop/Notifications, served on a thread
// of its own.
class FakeNotificationServer {
public:
    struct Notification {
        uint32_t id = 0;
        std::string appName;
        std::string appIcon;
        std::string summary;
        std::string body;
        std::vector<std::string> actions;
        int urgency = -1;  // -1: no hint
        std::string desktopEntry;
        int32_t expireTimeout = 0;
    };

    // `answer` false: the server takes the name but never replies to anything.
    FakeNotificationServer(const std::string& busAddress, std::set<std::string> capabilities, bool answer = true);
    ~FakeNotificationServer();
    FakeNotificationServer(const FakeNotificationServer&) = delete;
    FakeNotificationServer& operator=(const FakeNotificationServer&) = delete;

    // Waits at most `seconds` until at least `count` notifications arrived.
    bool waitForNotifications(size_t count, double seconds = 5.0);
    std::vector<Notification> notifications() const;

    // The signals a real server sends when a button is pressed or a notification closes.
    void invokeAction(uint32_t id, const std::string& action);
    void close(uint32_t id, uint32_t reason = 2);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// Collects log lines for the duration of a test instead of printing them.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    std::vector<std::string> lines() const;
    // Waits at most `seconds` until at least `count` lines were logged.
    bool waitForLines(size_t count, double seconds = 5.0) const;

private:
    mutable std::mutex lock_;
    mutable std::condition_variable changed_;
    std::vector<std::string> lines_;
};

// Waits at most `seconds` for `condition`, checking every few milliseconds.
bool eventually(const std::function<bool()>& condition, double seconds = 5.0);

}  // namespace qm::testing
