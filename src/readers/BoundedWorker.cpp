#include "readers/BoundedWorker.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace qm {

struct BoundedWorker::State {
    std::mutex mutex;
    std::condition_variable changed;
    Job job;
    std::optional<std::vector<GPUDevice>> answer;
    bool busy = false;
    bool stop = false;
};

BoundedWorker::BoundedWorker() : state_(std::make_shared<State>()) {
    // The thread holds the state too, so that a job still hanging when the owner goes
    // finds it there when (if ever) it returns.
    std::thread([state = state_] {
        std::unique_lock lock(state->mutex);
        for (;;) {
            state->changed.wait(lock, [&] { return state->stop || state->job; });
            if (state->stop) return;
            Job job = std::move(state->job);
            state->job = nullptr;
            lock.unlock();
            auto answer = job();
            job = nullptr;  // what it holds is let go on this thread, outside the lock
            lock.lock();
            state->answer = std::move(answer);
            state->busy = false;
            state->changed.notify_all();
        }
    }).detach();
}

BoundedWorker::~BoundedWorker() {
    std::lock_guard lock(state_->mutex);
    state_->stop = true;
    state_->changed.notify_all();
}

std::optional<std::vector<GPUDevice>> BoundedWorker::run(Job job, double limitSeconds) {
    std::unique_lock lock(state_->mutex);
    if (state_->busy) return std::nullopt;
    state_->job = std::move(job);
    state_->answer.reset();
    state_->busy = true;
    state_->changed.notify_all();
    const auto limit = std::chrono::duration<double>(limitSeconds);
    if (!state_->changed.wait_for(lock, limit, [&] { return !state_->busy; })) return std::nullopt;
    return std::move(state_->answer);
}

}  // namespace qm
