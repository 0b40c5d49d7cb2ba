#include "core/Queue.h"

#include <asio.hpp>
#include <chrono>
#include <future>
#include <thread>

namespace qm {

namespace {

using SteadyClock = std::chrono::steady_clock;

std::chrono::nanoseconds toDuration(double seconds) {
    return std::chrono::nanoseconds(static_cast<int64_t>(seconds * 1e9));
}

// A repeating timer on an io_context. Deadlines advance by whole periods so the
// ticks do not drift; the handler may destroy the timer from inside itself.
class AsioTimer : public RepeatingTimer {
public:
    AsioTimer(asio::io_context& io, double interval, std::function<void()> handler)
        : state_(std::make_shared<State>(io, interval, std::move(handler))) {
        state_->timer.expires_after(toDuration(interval));
        arm(state_);
    }
    ~AsioTimer() override {
        state_->alive = false;
        state_->timer.cancel();
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
};

class ThreadQueue : public SerialQueue {
public:
    explicit ThreadQueue(std::string label)
        : label_(std::move(label)), guard_(asio::make_work_guard(io_)), thread_([this] { io_.run(); }) {}

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

    std::unique_ptr<RepeatingTimer> repeating(double interval, double, std::function<void()> handler) override {
        return std::make_unique<AsioTimer>(io_, interval, std::move(handler));
    }

private:
    std::string label_;
    asio::io_context io_;
    asio::executor_work_guard<asio::io_context::executor_type> guard_;
    std::thread thread_;
};

}  // namespace

std::unique_ptr<SerialQueue> makeThreadQueue(const std::string& label) { return std::make_unique<ThreadQueue>(label); }

struct MainLoop::Impl {
    asio::io_context io;
    std::thread::id owner = std::this_thread::get_id();
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

std::unique_ptr<RepeatingTimer> MainLoop::repeating(double interval, double, std::function<void()> handler) {
    return std::make_unique<AsioTimer>(impl_->io, interval, std::move(handler));
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
