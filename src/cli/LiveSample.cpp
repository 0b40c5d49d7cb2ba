#include "cli/LiveSample.h"

#include <chrono>
#include <thread>

#include "core/Queue.h"
#include "engine/Sampler.h"

namespace qm::cli {

std::optional<Snapshot> primedSnapshot() {
    // The wait counts from the start: the priming tick's own reading time is part of
    // the interval, so the answer comes after `primingDelay` plus one tick, not two.
    const auto due = std::chrono::steady_clock::now() + primingDelay;
    Sampler::Dependencies deps;
    deps.queue = std::make_unique<ManualQueue>();  // ticks run here, on this thread
    Sampler sampler(std::move(deps));
    std::optional<Snapshot> latest;
    sampler.onSnapshot = [&latest](const Snapshot& snapshot) { latest = snapshot; };
    sampler.setLive(true);  // live schedules read every source; the priming tick runs at once
    std::this_thread::sleep_until(due);
    sampler.sample();
    return latest;
}

}  // namespace qm::cli
