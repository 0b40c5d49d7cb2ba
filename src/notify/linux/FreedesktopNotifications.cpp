#include "notify/linux/FreedesktopNotifications.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <sdbus-c++/sdbus-c++.h>
#include <chrono>
#include <exception>
#include <optional>
#include <set>
#include <system_error>
#include <vector>

#include "core/Log.h"
#include "notify/FreedesktopMessage.h"

namespace qm {

namespace {

const char* const serviceName = "org.freedesktop.Notifications";
const char* const objectPath = "/org/freedesktop/Notifications";
const char* const interfaceName = "org.freedesktop.Notifications";
constexpr size_t maxRemembered = 256;  // notification ids whose buttons may still be pressed

// Why the session bus cannot be reached, or none when it can. sdbus-c++ 1.2 leaks its
// half-made connection when connecting fails, so the bus is tried with sd-bus itself
// first, which cleans up after a failure.
std::optional<std::string> busProblem(const std::string& address) {
    sd_bus* bus = nullptr;
    int result = 0;
    if (address.empty()) {
        result = sd_bus_open_user(&bus);
    } else {
        result = sd_bus_new(&bus);
        if (result >= 0) result = sd_bus_set_address(bus, address.c_str());
        if (result >= 0) result = sd_bus_set_bus_client(bus, 1);
        if (result >= 0) result = sd_bus_start(bus);
    }
    sd_bus_unref(bus);
    if (result >= 0) return std::nullopt;
    return std::error_code(-result, std::generic_category()).message();
}

double monotonicSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

// Everything that touches the bus; lives and dies on the sink's thread.
class FreedesktopNotifications::Worker {
public:
    Worker(FreedesktopNotifications& owner) : owner_(owner) {}

    // The bus connection's descriptor and events for poll, when connected.
    std::optional<sdbus::IConnection::PollData> pollData() {
        if (!connection_) return std::nullopt;
        try {
            return connection_->getEventLoopPollData();
        } catch (const sdbus::Error& error) {
            lost(error);
            return std::nullopt;
        }
    }

    // Dispatches whatever the bus has for us: button presses and closings.
    void process() {
        if (!connection_) return;
        try {
            while (connection_ && connection_->processPendingRequest()) {
            }
        } catch (const sdbus::Error& error) {
            lost(error);
        }
    }

    // True when the notification reached the service.
    bool send(const NotificationRequest& request, const std::map<std::string, NotificationCategory>& categories) {
        if (!connect()) return false;
        try {
            if (!capabilities_) {
                std::vector<std::string> names;
                proxy_->callMethod("GetCapabilities")
                    .onInterface(interfaceName)
                    .withTimeout(timeout())
                    .storeResultsTo(names);
                capabilities_ = std::set<std::string>(names.begin(), names.end());
            }
            FreedesktopNotify notify = freedesktop::message(request, categories, *capabilities_);
            std::map<std::string, sdbus::Variant> hints;
            hints["urgency"] = sdbus::Variant(notify.urgency);
            hints["desktop-entry"] = sdbus::Variant(notify.desktopEntry);
            if (!notify.soundName.empty()) hints["sound-name"] = sdbus::Variant(notify.soundName);
            uint32_t id = 0;
            proxy_->callMethod("Notify")
                .onInterface(interfaceName)
                .withTimeout(timeout())
                .withArguments(notify.appName, uint32_t{0}, notify.appIcon, notify.summary, notify.body, notify.actions,
                               hints, notify.expireTimeout)
                .storeResultsTo(id);
            remember(id, request.userInfo);
            problem_.clear();
            return true;
        } catch (const sdbus::Error& error) {
            // Ask again next time: the service may be restarted, or replaced by another.
            capabilities_.reset();
            report(describe(error));
            if (isDisconnect(error)) drop();
            return false;
        } catch (const std::exception& error) {
            capabilities_.reset();
            report(std::string("could not post a notification (") + error.what() + ")");
            return false;
        }
    }

private:
    std::chrono::microseconds timeout() const {
        return std::chrono::microseconds(static_cast<int64_t>(owner_.options_.callTimeout * 1e6));
    }

    bool connect() {
        if (connection_) return true;
        const double now = monotonicSeconds();
        if (lastAttempt_ && now - *lastAttempt_ < owner_.options_.retryAfter) return false;
        lastAttempt_ = now;
        if (auto problem = busProblem(owner_.options_.busAddress)) {
            report("notifications are off: cannot reach the session bus (" + *problem + ")");
            return false;
        }
        try {
            connection_ = owner_.options_.busAddress.empty()
                              ? sdbus::createSessionBusConnection()
                              : sdbus::createSessionBusConnectionWithAddress(owner_.options_.busAddress);
            // Also bounds the calls the library makes itself, such as subscribing to signals.
            connection_->setMethodCallTimeout(static_cast<uint64_t>(owner_.options_.callTimeout * 1e6));
            proxy_ = sdbus::createProxy(*connection_, serviceName, objectPath);
            proxy_->uponSignal("ActionInvoked")
                .onInterface(interfaceName)
                .call([this](uint32_t id, const std::string& action) { actionInvoked(id, action); });
            proxy_->uponSignal("NotificationClosed")
                .onInterface(interfaceName)
                .call([this](uint32_t id, uint32_t /*reason*/) { userInfo_.erase(id); });
            proxy_->finishRegistration();
            return true;
        } catch (const sdbus::Error& error) {
            proxy_.reset();
            connection_.reset();
            report("notifications are off: cannot reach the session bus (" + error.getMessage() + ")");
            return false;
        } catch (const std::exception& error) {
            proxy_.reset();
            connection_.reset();
            report(std::string("notifications are off: cannot reach the session bus (") + error.what() + ")");
            return false;
        }
    }

    void actionInvoked(uint32_t id, const std::string& action) {
        auto it = userInfo_.find(id);
        if (it == userInfo_.end()) return;  // another program's notification, or one long gone
        NotificationResponse response{action, it->second};
        ResponseHandler handler;
        {
            std::lock_guard guard(owner_.lock_);
            handler = owner_.handler_;
        }
        if (handler) handler(response);
    }

    void remember(uint32_t id, const std::map<std::string, std::string>& userInfo) {
        userInfo_[id] = userInfo;
        order_.push_back(id);
        while (order_.size() > maxRemembered) {
            userInfo_.erase(order_.front());
            order_.pop_front();
        }
    }

    // The connection itself is broken (the bus went away), not just the call.
    static bool isDisconnect(const sdbus::Error& error) {
        const std::string& name = error.getName();
        return name == "org.freedesktop.DBus.Error.Disconnected" || name == "org.freedesktop.DBus.Error.NotConnected" ||
               name == "System.Error.ENOTCONN" || name == "System.Error.ECONNRESET" || name == "System.Error.EPIPE";
    }

    static std::string describe(const sdbus::Error& error) {
        const std::string& name = error.getName();
        if (name == "org.freedesktop.DBus.Error.ServiceUnknown" || name == "org.freedesktop.DBus.Error.NameHasNoOwner")
            return "notifications are off: no notification service on the session bus";
        if (name == "org.freedesktop.DBus.Error.NoReply" || name == "org.freedesktop.DBus.Error.Timeout" ||
            name == "org.freedesktop.DBus.Error.TimedOut")
            return "the notification service did not answer; notifications are skipped until it does";
        return "could not post a notification (" + name + ": " + error.getMessage() + ")";
    }

    void lost(const sdbus::Error& error) {
        report("lost the session bus (" + error.getMessage() + "); notifications are off until it is back");
        drop();
    }

    void drop() {
        proxy_.reset();
        connection_.reset();
        capabilities_.reset();
        lastAttempt_ = monotonicSeconds();
    }

    // One line per problem: repeats of the same problem stay quiet until a success.
    void report(const std::string& problem) {
        if (problem == problem_) return;
        problem_ = problem;
        logLine(problem);
    }

    FreedesktopNotifications& owner_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IProxy> proxy_;
    std::optional<std::set<std::string>> capabilities_;
    std::map<uint32_t, std::map<std::string, std::string>> userInfo_;
    std::deque<uint32_t> order_;
    std::optional<double> lastAttempt_;
    std::string problem_;
};

FreedesktopNotifications::FreedesktopNotifications(Options options) : options_(std::move(options)) {
    wakeFd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    thread_ = std::thread([this] { run(); });
}

FreedesktopNotifications::~FreedesktopNotifications() {
    {
        std::lock_guard guard(lock_);
        stopping_ = true;
    }
    if (wakeFd_ >= 0) {
        uint64_t one = 1;
        [[maybe_unused]] auto written = ::write(wakeFd_, &one, sizeof one);
    }
    thread_.join();
    if (wakeFd_ >= 0) ::close(wakeFd_);
}

void FreedesktopNotifications::registerCategory(const NotificationCategory& category) {
    std::lock_guard guard(lock_);
    categories_[category.identifier] = category;
}

void FreedesktopNotifications::setResponseHandler(ResponseHandler handler) {
    std::lock_guard guard(lock_);
    handler_ = std::move(handler);
}

void FreedesktopNotifications::post(const NotificationRequest& request) {
    {
        std::lock_guard guard(lock_);
        ++posted_;
        queue_.push_back(request);
        if (queue_.size() > options_.maxQueued) {
            // The service is far behind: the oldest news goes first.
            queue_.pop_front();
            ++done_;
        }
    }
    uint64_t one = 1;
    [[maybe_unused]] auto written = ::write(wakeFd_, &one, sizeof one);
}

bool FreedesktopNotifications::waitUntilDelivered(double seconds) {
    std::unique_lock guard(lock_);
    changed_.wait_for(guard, std::chrono::duration<double>(seconds), [this] { return done_ == posted_; });
    return done_ == posted_ && lastDelivered_;
}

void FreedesktopNotifications::finished(bool delivered) {
    std::lock_guard guard(lock_);
    ++done_;
    lastDelivered_ = delivered;
    changed_.notify_all();
}

void FreedesktopNotifications::run() {
    Worker worker(*this);
    for (;;) {
        std::optional<NotificationRequest> next;
        std::map<std::string, NotificationCategory> categories;
        {
            std::lock_guard guard(lock_);
            if (stopping_) break;
            if (!queue_.empty()) {
                next = std::move(queue_.front());
                queue_.pop_front();
                categories = categories_;
            }
        }
        if (next) {
            finished(worker.send(*next, categories));
            continue;
        }
        worker.process();

        pollfd fds[2] = {{wakeFd_, POLLIN, 0}, {-1, 0, 0}};
        int timeout = -1;
        if (auto data = worker.pollData()) {
            fds[1] = {data->fd, data->events, 0};
            timeout = data->getPollTimeout();
        }
        ::poll(fds, fds[1].fd >= 0 ? 2 : 1, timeout);
        if (fds[0].revents & POLLIN) {
            uint64_t count = 0;
            [[maybe_unused]] auto got = ::read(wakeFd_, &count, sizeof count);
        }
    }
}

}  // namespace qm
