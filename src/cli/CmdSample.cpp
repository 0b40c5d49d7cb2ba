// quillmere sample: runs the real sampler on this machine and prints each snapshot.
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <thread>

#include <nlohmann/json.hpp>

#include "cli/ArgumentChecks.h"
#include "cli/Command.h"
#include "cli/LiveSample.h"
#include "cli/Output.h"
#include "cli/SnapshotText.h"
#include "core/Defaults.h"
#include "core/JsonText.h"
#include "core/Queue.h"
#include "core/Sampler.h"
#include "core/SnapshotJson.h"

namespace qm::cli::sample_command {
namespace {

struct SampleOptions {
    int count = 0;        // 0: until interrupted
    double interval = 0;  // 0: the sampler's own period
    bool live = false;
    bool json = false;
};

void run(const SampleOptions& options) {
    // The sampler reads the period from the settings; --interval overrides them for this run only.
    auto defaults = std::make_shared<MemoryDefaults>();
    for (const auto& [key, value] : Defaults::shared().all()) defaults->set(key, value);
    if (options.interval > 0) defaults->set("refresh.interval", options.interval);

    MainLoop loop;
    Sampler::Dependencies deps;
    deps.defaults = defaults.get();
    auto sampler = std::make_unique<Sampler>(std::move(deps));
    if (options.interval > 0 && !options.live) sampler->setPeriodOverride(options.interval);

    int printed = 0;
    bool primed = false;
    const bool clearScreen = !options.json && ::isatty(STDOUT_FILENO);
    sampler->onSnapshot = [&](const Snapshot& snapshot) {
        loop.post([&, snapshot] {
            // The priming tick only gives the counters a previous read; its shares are not real.
            if (!primed) {
                primed = true;
                return;
            }
            if (options.count > 0 && printed >= options.count) return;
            if (options.json) {
                printJson(snapshot, true);
            } else {
                // On a terminal each snapshot replaces the last, like a dashboard.
                if (clearScreen)
                    std::cout << "\033[H\033[2J";
                else if (printed > 0)
                    std::cout << '\n';
                std::cout << describeSnapshot(snapshot) << std::flush;
            }
            if (++printed == options.count) loop.stop();
        });
    };
    // Prime the counters, answer after a short moment with the real interval, then
    // keep the regular period from there.
    Sampler* ticking = sampler.get();
    if (options.live)
        sampler->setLive(true);  // runs the priming tick at once
    else
        sampler->queue().post([ticking] { ticking->sample(); });
    std::this_thread::sleep_for(primingDelay);
    sampler->queue().post([ticking] { ticking->sample(); });
    if (options.live)
        sampler->reschedule();  // the next tick one period after the first answer
    else
        sampler->start();
    loop.run();
    sampler.reset();
}

RegisterCommand registration("sample", [](CLI::App& app) {
    auto options = std::make_shared<SampleOptions>();
    auto* cmd = app.add_subcommand("sample", "Sample this machine and print each snapshot as it arrives");
    cmd->add_option("-n,--count", options->count, "Number of snapshots to print (default: until interrupted)")
        ->check(wholeNumber(1, 1000000));
    cmd->add_option("-i,--interval", options->interval,
                    "Seconds between samples, at least 1 (default: 5 on mains, 10 on battery; 2 with --live)")
        ->check(seconds(1, 86400));
    cmd->add_flag("--live", options->live, "Sample as when a window is open: every source on every tick");
    cmd->add_flag("--json", options->json, "One JSON object per snapshot, one per line");
    cmd->callback([options] { run(*options); });
});

}  // namespace
}  // namespace qm::cli::sample_command
