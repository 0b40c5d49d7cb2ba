// quillmere record: the headless background recorder. It samples in background mode
// (5 s on mains, 10 s on battery), writes every minute and event to the history,
// prints each event as one line as it happens, tells the user about the serious ones
// with a desktop notification (it holds the recorder lock, so nobody else does), and
// on SIGINT, SIGTERM or SIGHUP (a closed terminal) saves the partial minute before it
// exits.
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

#include <cstdio>
#include <iostream>
#include <thread>

#include "cli/Command.h"
#include "core/Defaults.h"
#include "core/JsonText.h"
#include "core/Queue.h"
#include "core/SnapshotJson.h"
#include "core/TerminalText.h"
#include "engine/Monitor.h"
#include "engine/Sampler.h"
#include "fmt/Fmt.h"
#include "fmt/PlatformWording.h"
#include "history/AlertCenter.h"
#include "history/EventDetector.h"
#include "history/HistoryFiles.h"
#include "history/HistoryStore.h"
#include "history/RecorderLock.h"
#include "metrics/MetricsExporter.h"
#include "notify/PlatformNotifications.h"

namespace qm::cli::record_command {
namespace {

struct RecordOptions {
    std::string db;
    bool quiet = false;
    bool noNotify = false;
    bool json = false;    // each event as one JSON object per line, nothing else on stdout
    std::string metrics;  // where to serve Prometheus metrics ("metrics.listen" when empty)
    std::string metricsWebConfig;
};

std::string eventLine(const TimelineEvent& e) {
    std::string line = Fmt::time(e.date) + "  " + e.title;
    if (!e.detail.empty()) line += " — " + e.detail;
    return terminalSafe(forThisPlatform(line));
}

// With standard input, output or error closed at start, the next files opened would
// take their numbers and receive whatever is printed: give them /dev/null first.
void keepStandardStreamsOpen() {
    for (int fd = 0; fd <= 2; ++fd) {
        if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
        int null = ::open("/dev/null", fd == 0 ? O_RDONLY : O_WRONLY);
        if (null >= 0 && null != fd) {
            ::dup2(null, fd);
            ::close(null);
        }
    }
}

void run(const RecordOptions& options) {
    keepStandardStreamsOpen();
    const std::string path = options.db.empty() ? defaultHistoryPath() : options.db;
    if (auto slash = path.rfind('/'); slash != std::string::npos && slash > 0)
        ensurePrivateDirectory(path.substr(0, slash));

    RecorderLock lock(path);
    if (!lock.acquired()) {
        if (!lock.error().empty())
            std::fprintf(stderr, "quillmere record: %s\n", terminalSafe(lock.error()).c_str());
        else if (lock.holder())
            std::fprintf(stderr, "quillmere record: another recorder (pid %d) is already recording to %s\n",
                         static_cast<int>(*lock.holder()), path.c_str());
        else
            std::fprintf(stderr, "quillmere record: another recorder is already recording to %s\n", path.c_str());
        exitWith(1);
    }

    // SIGINT, SIGTERM and SIGHUP (a closed terminal) are taken by one thread with
    // sigwait, so they never interrupt the sampler or a database write half-way, and
    // each saves the minute in progress. The mask is set before any thread starts.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    // A reader of our output that goes away (a closed pipe) must not stop the recording.
    ::signal(SIGPIPE, SIG_IGN);

    MainLoop loop;
    HistoryStore store(path, &loop);
    if (!store.isOpen()) exitWith(1);  // the store has said why, naming the file
    Sampler::Dependencies deps;
    // Ticks on the main loop, which each snapshot reaches anyway: one thread wakes per tick.
    deps.queue = borrowQueue(loop);
    deps.history = &store;
    deps.detector = std::make_unique<EventDetector>();
    // Made before the monitor so it outlives every events callback.
    std::unique_ptr<AlertCenter> alerts;
    if (!options.noNotify)
        alerts = std::make_unique<AlertCenter>(makePlatformNotificationSink(), loop, recorderAlertHooks());
    Monitor monitor(loop, std::make_unique<Sampler>(std::move(deps)), &store);

    // The exporter, when asked for: a failure to serve is said once and recording goes on.
    metrics::MetricsExporter exporter(QUILLMERE_VERSION, Defaults::shared());
    if (auto problem = exporter.start(options.metrics, options.metricsWebConfig))
        std::fprintf(stderr, "quillmere record: %s; recording goes on without metrics\n", problem->c_str());
    const bool exporting = exporter.url().has_value();
    Date exported = -1;
    if (exporting) {
        monitor.observe([&] {
            if (monitor.hasData() && monitor.snapshot().date != exported) {
                exported = monitor.snapshot().date;
                exporter.update(monitor.snapshot());
            }
        });
    }

    monitor.onEvents = [&](const std::vector<TimelineEvent>& events) {
        if (exporting) exporter.count(events);
        for (const auto& event : events)
            std::cout << (options.json ? jsonText(nlohmann::json(event)) : eventLine(event)) << '\n';
        std::cout << std::flush;
        if (alerts) alerts->deliver(events);
    };

    std::thread signalWaiter([&] {
        int signal = 0;
        sigwait(&stopSignals, &signal);
        loop.post([&] { loop.stop(); });
    });

    if (!options.quiet && !options.json)
        std::cout << "Recording to " << terminalSafe(path) << " every " << Fmt::number(monitor.sampler().interval(), 0)
                  << " s on mains, 10 s on battery. Ctrl-C stops." << std::endl;
    if (exporting && !options.quiet && !options.json)
        std::cout << "Serving metrics at " << *exporter.url() << std::endl;
    monitor.start();
    loop.run();

    // Save the minute in progress, then let the store finish every queued write.
    monitor.sampler().flushNow();
    store.waitUntilIdle();
    signalWaiter.join();
    if (const size_t unsaved = store.unsavedCount(); unsaved > 0) {
        std::fprintf(stderr, "quillmere record: stopped; %zu minutes and events could not be saved to %s\n", unsaved,
                     path.c_str());
        exitWith(1);
    }
    if (!options.quiet && !options.json)
        std::cout << (monitor.hasData() ? "Stopped; the current minute was saved." : "Stopped before the first sample.")
                  << std::endl;
}

RegisterCommand registration("record", [](CLI::App& app) {
    auto options = std::make_shared<RecordOptions>();
    auto* cmd = app.add_subcommand("record", "Record history in the background until interrupted");
    cmd->add_option("--db", options->db,
                    "history database (default: $QUILLMERE_DB, else the data folder's history.sqlite)");
    cmd->add_flag("-q,--quiet", options->quiet, "Print only events");
    cmd->add_flag("--no-notify", options->noNotify, "Do not show desktop notifications for events");
    cmd->add_flag("--json", options->json, "Print each event as one JSON object per line (JSON Lines), nothing else");
    cmd->add_option("--metrics", options->metrics,
                    "Serve Prometheus metrics at ADDRESS (127.0.0.1:19466; a port alone means loopback); "
                    "default: the setting metrics.listen, else off");
    cmd->add_option("--metrics-web-config", options->metricsWebConfig,
                    "Web configuration file for the metrics (TLS, users); default: the setting metrics.webConfig");
    cmd->callback([options] { run(*options); });
});

}  // namespace
}  // namespace qm::cli::record_command
