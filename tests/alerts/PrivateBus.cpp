#include "PrivateBus.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sdbus-c++/sdbus-c++.h>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

extern char** environ;

namespace qm::testing {

namespace {

const char* const serviceName = "org.freedesktop.Notifications";
const char* const objectPath = "/org/freedesktop/Notifications";
const char* const interfaceName = "org.freedesktop.Notifications";

std::optional<std::string> findProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::string rest = path != nullptr ? path : "/usr/bin:/bin";
    size_t start = 0;
    while (start <= rest.size()) {
        size_t end = rest.find(':', start);
        if (end == std::string::npos) end = rest.size();
        std::string candidate = rest.substr(start, end - start) + "/" + name;
        if (::access(candidate.c_str(), X_OK) == 0) return candidate;
        start = end + 1;
    }
    return std::nullopt;
}

}  // namespace

PrivateBus::PrivateBus() {
    auto daemon = findProgram("dbus-daemon");
    if (!daemon) {
        problem_ = "dbus-daemon is not installed";
        return;
    }
    std::string pattern = (std::filesystem::temp_directory_path() / "quillmere-bus-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        problem_ = "no temporary folder";
        return;
    }
    directory_ = pattern;
    const std::string config = directory_ + "/session.conf";
    {
        // No <servicedir>: nothing is started on demand, so only the test's server answers.
        std::ofstream out(config);
        out << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
               " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
               "<busconfig>\n"
               "  <type>session</type>\n"
               "  <listen>unix:dir="
            << directory_
            << "</listen>\n"
               "  <auth>EXTERNAL</auth>\n"
               "  <policy context=\"default\">\n"
               "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
               "    <allow eavesdrop=\"true\"/>\n"
               "    <allow own=\"*\"/>\n"
               "  </policy>\n"
               "</busconfig>\n";
    }
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0) {
        problem_ = "no pipe";
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    // Its complaints (it cannot raise its descriptor limit in a container) are not the test's.
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::string configArgument = "--config-file=" + config;
    std::vector<std::string> arguments{*daemon, configArgument, "--print-address", "--nofork"};
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    const int spawned = ::posix_spawn(&daemon_, daemon->c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeFds[1]);
    if (spawned != 0) {
        daemon_ = -1;
        ::close(pipeFds[0]);
        problem_ = "dbus-daemon did not start";
        return;
    }
    // The daemon prints its address once it listens.
    std::string line;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (line.find('\n') == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        pollfd fd{pipeFds[0], POLLIN, 0};
        if (::poll(&fd, 1, 100) <= 0) continue;
        char buffer[256];
        const ssize_t n = ::read(pipeFds[0], buffer, sizeof buffer);
        if (n <= 0) break;
        line.append(buffer, static_cast<size_t>(n));
    }
    ::close(pipeFds[0]);
    if (auto end = line.find('\n'); end != std::string::npos) {
        address_ = line.substr(0, end);
    } else {
        problem_ = "dbus-daemon printed no address";
    }
}

void PrivateBus::stop() {
    if (daemon_ <= 0) return;
    ::kill(daemon_, SIGTERM);
    int status = 0;
    ::waitpid(daemon_, &status, 0);
    daemon_ = -1;
}

PrivateBus::~PrivateBus() {
    stop();
    if (!directory_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
}

struct FakeNotificationServer::Impl {
    std::string address;
    std::set<std::string> capabilities;
    bool answer = true;

    std::mutex lock;
    std::condition_variable changed;
    std::vector<Notification> received;
    std::deque<std::function<void()>> commands;  // run on the server's thread
    bool ready = false;
    bool stopping = false;
    int wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    std::thread thread;

    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IObject> object;
    uint32_t nextID = 0;

    void wake() const {
        uint64_t one = 1;
        [[maybe_unused]] auto written = ::write(wakeFd, &one, sizeof one);
    }

    void setUp() {
        connection = sdbus::createSessionBusConnectionWithAddress(address);
        connection->requestName(serviceName);
        if (!answer) return;
        object = sdbus::createObject(*connection, objectPath);
        object->registerMethod("GetCapabilities").onInterface(interfaceName).implementedAs([this] {
            return std::vector<std::string>(capabilities.begin(), capabilities.end());
        });
        object->registerMethod("GetServerInformation").onInterface(interfaceName).implementedAs([] {
            return std::make_tuple(std::string("fake"), std::string("quillmere tests"), std::string("1.0"),
                                   std::string("1.2"));
        });
        object->registerMethod("CloseNotification").onInterface(interfaceName).implementedAs([](uint32_t) {});
        object->registerMethod("Notify")
            .onInterface(interfaceName)
            .implementedAs(
                [this](const std::string& appName, uint32_t /*replaces*/, const std::string& appIcon,
                       const std::string& summary, const std::string& body, const std::vector<std::string>& actions,
                       const std::map<std::string, sdbus::Variant>& hints, int32_t expireTimeout) {
            Notification n;
            n.id = ++nextID;
            n.appName = appName;
            n.appIcon = appIcon;
            n.summary = summary;
            n.body = body;
            n.actions = actions;
            n.expireTimeout = expireTimeout;
            if (auto it = hints.find("urgency"); it != hints.end() && it->second.containsValueOfType<uint8_t>())
                n.urgency = it->second.get<uint8_t>();
            if (auto it = hints.find("desktop-entry");
                it != hints.end() && it->second.containsValueOfType<std::string>())
                n.desktopEntry = it->second.get<std::string>();
            std::lock_guard guard(lock);
            received.push_back(n);
            changed.notify_all();
            return n.id;
            });
        object->registerSignal("ActionInvoked").onInterface(interfaceName).withParameters<uint32_t, std::string>();
        object->registerSignal("NotificationClosed").onInterface(interfaceName).withParameters<uint32_t, uint32_t>();
        object->finishRegistration();
    }

    void run() {
        try {
            setUp();
        } catch (const sdbus::Error&) {
            connection.reset();
        }
        {
            std::lock_guard guard(lock);
            ready = true;
            changed.notify_all();
        }
        for (;;) {
            std::deque<std::function<void()>> work;
            {
                std::lock_guard guard(lock);
                if (stopping) break;
                work.swap(commands);
            }
            for (auto& command : work) command();
            pollfd fds[2] = {{wakeFd, POLLIN, 0}, {-1, 0, 0}};
            int timeout = -1;
            if (connection && answer) {
                try {
                    while (connection->processPendingRequest()) {
                    }
                    auto data = connection->getEventLoopPollData();
                    fds[1] = {data.fd, data.events, 0};
                    timeout = data.getPollTimeout();
                } catch (const sdbus::Error&) {
                    answer = false;  // the bus went away: nothing more to serve
                }
            }
            ::poll(fds, fds[1].fd >= 0 ? 2 : 1, timeout);
            uint64_t count = 0;
            [[maybe_unused]] auto got = ::read(wakeFd, &count, sizeof count);
        }
        object.reset();
        connection.reset();
    }

    void send(std::function<void()> command) {
        {
            std::lock_guard guard(lock);
            commands.push_back(std::move(command));
        }
        wake();
    }
};

FakeNotificationServer::FakeNotificationServer(const std::string& busAddress, std::set<std::string> capabilities,
                                               bool answer)
    : impl_(std::make_unique<Impl>()) {
    impl_->address = busAddress;
    impl_->capabilities = std::move(capabilities);
    impl_->answer = answer;
    impl_->thread = std::thread([this] { impl_->run(); });
    std::unique_lock guard(impl_->lock);
    impl_->changed.wait_for(guard, std::chrono::seconds(10), [this] { return impl_->ready; });
}

FakeNotificationServer::~FakeNotificationServer() {
    {
        std::lock_guard guard(impl_->lock);
        impl_->stopping = true;
    }
    impl_->wake();
    impl_->thread.join();
    ::close(impl_->wakeFd);
}

bool FakeNotificationServer::waitForNotifications(size_t count, double seconds) {
    std::unique_lock guard(impl_->lock);
    return impl_->changed.wait_for(guard, std::chrono::duration<double>(seconds),
                                   [&] { return impl_->received.size() >= count; });
}

std::vector<FakeNotificationServer::Notification> FakeNotificationServer::notifications() const {
    std::lock_guard guard(impl_->lock);
    return impl_->received;
}

void FakeNotificationServer::invokeAction(uint32_t id, const std::string& action) {
    Impl* impl = impl_.get();
    impl_->send([impl, id, action] {
        if (impl->object)
            impl->object->emitSignal("ActionInvoked").onInterface(interfaceName).withArguments(id, action);
    });
}

void FakeNotificationServer::close(uint32_t id, uint32_t reason) {
    Impl* impl = impl_.get();
    impl_->send([impl, id, reason] {
        if (impl->object)
            impl->object->emitSignal("NotificationClosed").onInterface(interfaceName).withArguments(id, reason);
    });
}

LogCapture::LogCapture() {
    setLogSink([this](const std::string& line) {
        std::lock_guard guard(lock_);
        lines_.push_back(line);
        changed_.notify_all();
    });
}

LogCapture::~LogCapture() { setLogSink(nullptr); }

std::vector<std::string> LogCapture::lines() const {
    std::lock_guard guard(lock_);
    return lines_;
}

bool LogCapture::waitForLines(size_t count, double seconds) const {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, std::chrono::duration<double>(seconds), [&] { return lines_.size() >= count; });
}

bool eventually(const std::function<bool()>& condition, double seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace qm::testing
