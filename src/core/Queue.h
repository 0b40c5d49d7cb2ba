// Serial queues: work posted to one runs in order on one thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace qm {

// A repeating timer bound to a queue; destroying it cancels it.
class RepeatingTimer {
public:
    virtual ~RepeatingTimer() = default;
};

class SerialQueue {
public:
    virtual ~SerialQueue() = default;
    virtual void post(std::function<void()> work) = 0;
    // Runs the work on the queue and waits for it (runs inline when already on the queue).
    virtual void sync(std::function<void()> work) = 0;
    // Fires `handler` on this queue every `interval` seconds, first at now + interval.
    // `leeway` is how late the system may fire it to coalesce wake-ups.
    virtual std::unique_ptr<RepeatingTimer> repeating(double interval, double leeway,
                                                      std::function<void()> handler) = 0;
};

// A queue with its own thread, backed by an Asio io_context. The thread is named
// after the label ("app.quillmere.sampler" as "qm.sampler"). Timer leeways become
// the thread's timer slack on Linux: while timers are alive, every timed sleep of the
// thread may end up to the smallest of their leeways late.
std::unique_ptr<SerialQueue> makeThreadQueue(const std::string& label);

// Serves work and timers on `queue`, which must outlive the handle: a component that
// wants its own queue can share a thread that is awake anyway (the recorder's sampler
// ticks on its main loop, so a tick wakes one thread, not two).
std::unique_ptr<SerialQueue> borrowQueue(SerialQueue& queue);

// A queue served by whoever calls run(): the command line's main thread.
class MainLoop : public SerialQueue {
public:
    MainLoop();
    ~MainLoop() override;
    void post(std::function<void()> work) override;
    void sync(std::function<void()> work) override;
    std::unique_ptr<RepeatingTimer> repeating(double interval, double leeway, std::function<void()> handler) override;
    // Serves posted work until stop() is called.
    void run();
    // Serves work for at most `seconds`, returning early after stop().
    void runFor(double seconds);
    void stop();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// A queue for tests: posted work runs at once on the caller's thread; timers only
// fire when the test calls fire().
class ManualQueue : public SerialQueue {
public:
    void post(std::function<void()> work) override { work(); }
    void sync(std::function<void()> work) override { work(); }
    std::unique_ptr<RepeatingTimer> repeating(double interval, double leeway, std::function<void()> handler) override;
    // The timer in force, if any.
    bool armed() const { return state_ && state_->alive; }
    double interval() const { return state_ ? state_->interval : 0; }
    double leeway() const { return state_ ? state_->leeway : 0; }
    int timersCreated() const { return created_; }
    void fire() {
        // Hold the state while its handler runs: the handler may re-arm, which drops it.
        if (auto state = state_; state && state->alive) state->handler();
    }

    struct State {
        double interval = 0;
        double leeway = 0;
        std::function<void()> handler;
        bool alive = true;
    };

private:
    // Destroying the timer marks its state dead.
    struct ManualTimer : RepeatingTimer {
        explicit ManualTimer(std::shared_ptr<State> s) : state(std::move(s)) {}
        ~ManualTimer() override { state->alive = false; }
        std::shared_ptr<State> state;
    };
    std::shared_ptr<State> state_;
    int created_ = 0;
};

}  // namespace qm
