// quillmere sample and quillmere top: run the real sampler on this machine. On a
// terminal both open the live view (LiveSession); in a pipe, with --count or --json
// they print each snapshot.
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "cli/ArgumentChecks.h"
#include "cli/Command.h"
#include "cli/LiveSample.h"
#include "cli/LiveSession.h"
#include "cli/LiveView.h"
#include "cli/Output.h"
#include "cli/SnapshotText.h"
#include "core/Defaults.h"
#include "core/Queue.h"
#include "engine/Sampler.h"
#include "fmt/SnapshotJsonLine.h"

namespace qm::cli::sample_command {
namespace {

struct SampleOptions {
    int count = 0;        // 0: until interrupted
    double interval = 0;  // 0: the sampler's own period
    bool live = false;
    bool json = false;
    const char* command = "sample";
};

// The live view only on a terminal, for a run until interrupted: with --count, JSON
// or a pipe each snapshot is printed as text after the last.
std::unique_ptr<LiveView> openLiveView(const SampleOptions& options) {
    if (options.json || options.count > 0 || !::isatty(STDOUT_FILENO) || !::isatty(STDIN_FILENO)) return nullptr;
    std::string why;
    auto view = LiveView::open(why);
    if (!view)
        std::fprintf(stderr, "quillmere %s: %s; printing one snapshot after another\n", options.command, why.c_str());
    return view;
}

void run(const SampleOptions& options) {
    if (auto view = openLiveView(options)) {
        runLiveSession(*view, options.interval > 0 ? std::optional<double>(options.interval) : std::nullopt);
        return;
    }
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
    bool primed = false;  // touched only on the sampler's thread
    sampler->onSnapshot = [&](const Snapshot& snapshot) {
        // The priming tick only gives the counters a previous read; its shares are not real.
        if (!primed) {
            primed = true;
            return;
        }
        // Output nobody can read (a full disk, a closed descriptor) ends the run;
        // the failed write is then reported once, with exit code 1.
        auto printedOne = [&] {
            if (++printed == options.count || std::ferror(stdout)) loop.stop();
        };
        if (options.json) {
            // The line is written here, on the sampler's thread, so only its text
            // crosses to the main loop rather than a copy of every process.
            std::string line;
            appendSnapshotJson(line, snapshot);
            loop.post([&, printedOne, line = std::move(line)] {
                if (options.count > 0 && printed >= options.count) return;
                printJsonLine(line);
                printedOne();
            });
            return;
        }
        loop.post([&, printedOne, snapshot] {
            if (options.count > 0 && printed >= options.count) return;
            print((printed > 0 ? "\n" : "") + describeSnapshot(snapshot));
            std::fflush(stdout);
            printedOne();
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
    auto* cmd = app.add_subcommand("sample", "Watch this machine live (q quits), or print each snapshot as it arrives");
    cmd->add_option("-n,--count", options->count,
                    "Number of snapshots to print, one after another (default: until interrupted)")
        ->check(wholeNumber(1, 1000000));
    cmd->add_option("-i,--interval", options->interval,
                    "Seconds between samples, at least 1 (default: 5 on mains, 10 on battery; on a terminal or "
                    "with --live the view's period, 2 unless changed)")
        ->check(seconds(1, 86400));
    cmd->add_flag("--live", options->live, "Sample as when a window is open: every source on every tick");
    cmd->add_flag("--json", options->json, "One JSON object per snapshot, one per line");
    cmd->callback([options] { run(*options); });
});

// The same view under the name people look for; in a pipe it prints like sample --live.
RegisterCommand topRegistration("top", [](CLI::App& app) {
    auto options = std::make_shared<SampleOptions>();
    options->live = true;
    options->command = "top";
    auto* cmd = app.add_subcommand(
        "top", "The live terminal view: sort, filter, explain, quit processes, step back through history (? for keys)");
    cmd->add_option("-i,--interval", options->interval,
                    "Seconds between samples for this run (default: the period last chosen with + and -, else 2)")
        ->check(seconds(1, 60));
    cmd->callback([options] { run(*options); });
});

}  // namespace
}  // namespace qm::cli::sample_command
