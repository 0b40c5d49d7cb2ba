// quillmere events: the notable events the monitor recorded, newest first.
#include <cstdio>
#include <memory>
#include <string>

#include "cli/Command.h"
#include "cli/Output.h"
#include "core/Clock.h"
#include "core/JsonText.h"
#include "core/SnapshotJson.h"
#include "history/HistoryFiles.h"
#include "history/HistoryStore.h"
#include "history/TimeArguments.h"
#include "shell/fmt/Fmt.h"

namespace qm::cli::events_command {
namespace {

struct EventsOptions {
    std::string since = "24h";
    bool json = false;
    std::string db;
};

void run(const EventsOptions& options) {
    auto span = parseDuration(options.since);
    if (!span) {
        std::fprintf(stderr, "quillmere events: --since takes a span such as 30m, 2h or 7d, not \"%s\"\n",
                     options.since.c_str());
        exitWith(2);
    }
    Date now = Clock::system().now();
    std::string path = options.db.empty() ? defaultHistoryPath() : options.db;

    std::vector<TimelineEvent> events;
    if (fileBytes(path) > 0) {  // reading must not create an empty history
        HistoryStore store(path);
        if (!store.isOpen()) exitWith(1);  // the store has said why
        events = store.eventsSync(now - *span, now);
    }

    if (options.json) {
        print(jsonText(nlohmann::json(events), 2) + "\n");
        return;
    }
    if (events.empty()) {
        print("No notable events since " + Fmt::dayTime(now - *span) + ".\n");
        return;
    }
    for (const TimelineEvent& e : events) {
        print(Fmt::dayTime(e.date) + "  " + e.title + "\n");
        if (!e.detail.empty()) print("    " + e.detail + "\n");
    }
}

RegisterCommand registration{"events",
                             [](CLI::App& app) {
    auto options = std::make_shared<EventsOptions>();
    auto* command =
        app.add_subcommand("events",
                           "List recorded events (runaway CPU, memory growth, pressure, heat, ...), newest first");
    command->add_option("--since", options->since, "how far back: 30m, 2h, 7d, 2w (default 24h; at most 500 events)");
    command->add_flag("--json", options->json, "print the events as a JSON array");
    command->add_option("--db", options->db,
                        "history database to read (default: $QUILLMERE_DB, else the data folder's history.sqlite)");
    command->callback([options] { run(*options); });
                             }};

}  // namespace
}  // namespace qm::cli::events_command
