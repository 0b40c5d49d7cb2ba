#include "cli/LiveSample.h"

#include <thread>

#include "core/Queue.h"
#include "core/Sampler.h"

namespace qm::cli {

std::optional<Snapshot> primedSnapshot() {
    Sampler::Dependencies deps;
    deps.queue = std::make_unique<ManualQueue>();  // ticks run here, on this thread
    Sampler sampler(std::move(deps));
    std::optional<Snapshot> latest;
    sampler.onSnapshot = [&latest](const Snapshot& snapshot) { latest = snapshot; };
    sampler.setLive(true);  // live schedules read every source; the priming tick runs at once
    std::this_thread::sleep_for(primingDelay);
    sampler.sample();
    return latest;
}

}  // namespace qm::cli
