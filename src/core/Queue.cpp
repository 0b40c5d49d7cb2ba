#include "core/Queue.h"

#include <pthread.h>

// Asio's timerfd is armed with no slack at all; without it, the reactor's epoll_wait
// carries the deadline, and the kernel stretches that by the thread's timer slack,
// which is how a timer's leeway reaches the system (see TimerSlack.h).
#define ASIO_DISABLE_TIMERFD 1

#include <algorithm>
#include <asio.hpp>
#include <chrono>
#include <future>
#include <set>
#include <thread>

#include "core/TimerSlack.h"

namespace qm {

namespace {

using SteadyClock = std::chrono::steady_clock;

// The queue's label, short enough for the system's thread name (top -H, /proc/PID/task):
// "app.quillmere.sampler" shows as "qm.sampler".
void nameThisThread(const std::string& label) {
    constexpr std::string_view prefix = "app.quillmere.";
    std::string name = label.starts_with(prefix) ? "qm." + label.substr(prefix.size()) : label;
    name.resize(std::min<size_t>(name.size(), 15));
#ifdef __APPLE__
    ::pthread_setname_np(name.c_str());
#else
    ::pthread_setname_np(::pthread_self(), name.c_str());
#endif
}

std::chrono::nanoseconds toDuration(double seconds) {
    return std::chrono::nanoseconds(static_cast<int64_t>(seconds * 1e9));
}

// The leeways of the timers alive on one serving thread; the thread's timer slack is
// the smallest of them, so no timer fires later than it allows. Touched only on the
// serving thread (the timers post their comings and goings there).
class SlackKeeper {
public:
    void add(double leeway) {
        leeways_.insert(leeway);
        apply();
    }
    void remove(double leeway) {
        if (auto found = leeways_.find(leeway); found != leeways_.end()) leeways_.erase(found);
        apply();
    }

private:
    void apply() { setThreadTimerSlack(leeways_.empty() ? 0 : *leeways_.begin()); }
    std::multiset<double> leeways_;
};

// A repeating timer on an io_context. Deadlines advance by whole periods so the
// ticks do not drift; the handler may destroy the timer from inside itself.
class AsioTimer : public RepeatingTimer {
public:
    AsioTimer(asio::io_context& io, double interval, double leeway, std::shared_ptr<SlackKeeper> slack,
              std::function<void()> handler)
        : state_(std::make_shared<State>(io, interval, std::move(handler))), leeway_(leeway), slack_(std::move(slack)) {
        asio::post(io, [slack = slack_, leeway] { slack->add(leeway); });
        state_->timer.expires_after(toDuration(interval));
        arm(state_);
    }
    ~AsioTimer() override {
        state_->alive = false;
        state_->timer.cancel();
        asio::post(state_->timer.get_executor(), [slack = slack_, leeway = leeway_] { slack->remove(leeway); });
    }

private:
    struct State {
        State(asio::io_context& io, double interval, std::function<void()> handler)
            : timer(io), period(toDuration(interval)), handler(std::move(handler)) {}
        asio::steady_timer timer;
        std::chrono::nanoseconds period;
        std::function<void()> handler;
        bool alive = true;
    };

    static void arm(const std::shared_ptr<State>& state) {
        state->timer.async_wait([state](const asio::error_code& error) {
            if (error || !state->alive) return;
            state->handler();
            if (!state->alive) return;
            auto next = state->timer.expiry() + state->period;
            // After a sleep, skip the missed periods instead of firing them all at once.
            if (next < SteadyClock::now()) next = SteadyClock::now() + state->period;
            state->timer.expires_at(next);
            arm(state);
        });
    }

    std::shared_ptr<State> state_;
    double leeway_;
    std::shared_ptr<SlackKeeper> slack_;
};

class ThreadQueue : public SerialQueue {
public:
    explicit ThreadQueue(std::string label)
        : label_(std::move(label)), guard_(asio::make_work_guard(io_)), thread_([this] {
              nameThisThread(label_);
              setThreadTimerSlack(0);  // not the slack of the thread that made it
              io_.run();
          }) {}

    ~ThreadQueue() override {
        guard_.reset();
        io_.stop();
        if (thread_.joinable()) {
            if (thread_.get_id() == std::this_thread::get_id())
                thread_.detach();
            else
                thread_.join();
        }
    }

    void post(std::function<void()> work) override { asio::post(io_, std::move(work)); }

    void sync(std::function<void()> work) override {
        if (std::this_thread::get_id() == thread_.get_id()) {
            work();
            return;
        }
        std::promise<void> done;
        auto finished = done.get_future();
        asio::post(io_, [&] {
            work();
            done.set_value();
        });
        finished.wait();
    }

    std::unique_ptr<RepeatingTimer> repeating(double interval, double leeway, std::function<void()> handler) override {
        return std::make_unique<AsioTimer>(io_, interval, leeway, slack_, std::move(handler));
    }

private:
    std::string label_;
    std::shared_ptr<SlackKeeper> slack_ = std::make_shared<SlackKeeper>();
    asio::io_context io_;
    asio::executor_work_guard<asio::io_context::executor_type> guard_;
    std::thread thread_;
};

// Work and timers of another queue, which must outlive this handle.
class BorrowedQueue : public SerialQueue {
public:
    explicit BorrowedQueue(SerialQueue& target) : target_(target) {}
    void post(std::function<void()> work) override { target_.post(std::move(work)); }
    void sync(std::function<void()> work) override { target_.sync(std::move(work)); }
    std::unique_ptr<RepeatingTimer> repeating(double interval, double leeway, std::function<void()> handler) override {
        return target_.repeating(interval, leeway, std::move(handler));
    }

private:
    SerialQueue& target_;
};

}  // namespace

std::unique_ptr<SerialQueue> makeThreadQueue(const std::string& label) { return std::make_unique<ThreadQueue>(label); }

std::unique_ptr<SerialQueue> borrowQueue(SerialQueue& queue) { return std::make_unique<BorrowedQueue>(queue); }

struct MainLoop::Impl {
    asio::io_context io;
    std::thread::id owner = std::this_thread::get_id();
    std::shared_ptr<SlackKeeper> slack = std::make_shared<SlackKeeper>();
};

MainLoop::MainLoop() : impl_(std::make_unique<Impl>()) {}
MainLoop::~MainLoop() = default;

void MainLoop::post(std::function<void()> work) { asio::post(impl_->io, std::move(work)); }

void MainLoop::sync(std::function<void()> work) {
    if (std::this_thread::get_id() == impl_->owner) {
        work();
        return;
    }
    std::promise<void> done;
    auto finished = done.get_future();
    asio::post(impl_->io, [&] {
        work();
        done.set_value();
    });
    finished.wait();
}

std::unique_ptr<RepeatingTimer> MainLoop::repeating(double interval, double leeway, std::function<void()> handler) {
    return std::make_unique<AsioTimer>(impl_->io, interval, leeway, impl_->slack, std::move(handler));
}

void MainLoop::run() {
    auto guard = asio::make_work_guard(impl_->io);
    impl_->io.restart();
    impl_->io.run();
}

void MainLoop::runFor(double seconds) {
    auto guard = asio::make_work_guard(impl_->io);
    impl_->io.restart();
    impl_->io.run_for(toDuration(seconds));
}

void MainLoop::stop() { impl_->io.stop(); }

std::unique_ptr<RepeatingTimer> ManualQueue::repeating(double interval, double leeway, std::function<void()> handler) {
    ++created_;
    state_ = std::make_shared<State>();
    state_->interval = interval;
    state_->leeway = leeway;
    state_->handler = std::move(handler);
    return std::make_unique<ManualTimer>(state_);
}

}  // namespace qm
