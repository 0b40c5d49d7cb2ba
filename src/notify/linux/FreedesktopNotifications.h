// Notifications on a Linux desktop: the freedesktop notification service
// (org.freedesktop.Notifications) on the user's session bus, through sdbus-c++.
//
// All D-Bus work happens on the sink's own thread, so posting never blocks the
// sampler or the main loop: post() queues the request and returns. Every call to the
// service is bounded by `callTimeout`. Without a session bus (a server, a system
// service without the user's bus), without a notification service, or with one that
// does not answer or goes away, one log line says so and notifications are skipped;
// recording goes on. The bus is tried again on a later post, at most once a minute.
//
// The server's capabilities decide the buttons: without "actions" the notification
// is posted without any. Button presses (ActionInvoked) for our notifications are
// handed to the response handler on the sink's thread; signals about other
// programs' notifications are ignored.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "history/NotificationSink.h"

namespace qm {

class FreedesktopNotifications : public NotificationSink {
public:
    struct Options {
        std::string busAddress;  // empty: the user's session bus
        double callTimeout = 2.0;
        double retryAfter = 60.0;  // seconds before a failed bus connection is tried again
        size_t maxQueued = 32;     // older requests are dropped beyond this
    };

    explicit FreedesktopNotifications(Options options);
    FreedesktopNotifications() : FreedesktopNotifications(Options{}) {}
    ~FreedesktopNotifications() override;
    FreedesktopNotifications(const FreedesktopNotifications&) = delete;
    FreedesktopNotifications& operator=(const FreedesktopNotifications&) = delete;

    void registerCategory(const NotificationCategory& category) override;
    void setResponseHandler(ResponseHandler handler) override;
    void post(const NotificationRequest& request) override;
    bool waitUntilDelivered(double seconds) override;

private:
    class Worker;

    void run();
    void finished(bool delivered);

    Options options_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<NotificationRequest> queue_;
    std::map<std::string, NotificationCategory> categories_;
    ResponseHandler handler_;
    uint64_t posted_ = 0;
    uint64_t done_ = 0;
    bool lastDelivered_ = false;
    bool stopping_ = false;
    int wakeFd_ = -1;
    std::thread thread_;
};

}  // namespace qm
