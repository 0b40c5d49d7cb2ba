#include "cli/LiveSample.h"

#include <chrono>
#include <thread>

#include "core/Queue.h"
#include "core/Sampler.h"

namespace qm::cli {

std::optional<Snapshot> sampleTwice() {
    Sampler::Dependencies deps;
    deps.queue = std::make_unique<ManualQueue>();  // ticks run here, on this thread
    Sampler sampler(std::move(deps));
    std::optional<Snapshot> latest;
    sampler.onSnapshot = [&latest](const Snapshot& snapshot) { latest = snapshot; };
    sampler.setLive(true);  // live schedules read every source; the first tick runs at once
    std::this_thread::sleep_for(std::chrono::seconds(1));
    sampler.sample();
    return latest;
}

}  // namespace qm::cli
