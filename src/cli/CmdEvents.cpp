// quillmere events: the notable events the monitor recorded, newest first.
#include <cstdio>
#include <memory>
#include <string>

#include "cli/Command.h"
#include "cli/HistoryAccess.h"
#include "cli/Output.h"
#include "core/Clock.h"
#include "core/SnapshotJson.h"
#include "fmt/Fmt.h"
#include "history/TimeArguments.h"

namespace qm::cli::events_command {
namespace {

struct EventsOptions {
    std::string since = "24h";
    bool json = false;
    std::string db;
};

void run(const EventsOptions& options) {
    Date now = Clock::system().now();
    auto since = parseTimePoint(options.since, now);
    if (!since) {
        std::fprintf(stderr, "quillmere events: %s\n", timeArgumentRefusal("--since", options.since).c_str());
        exitWith(2);
    }
    RecordedHistory history = openRecordedHistory(options.db, "events");
    std::vector<TimelineEvent> events;
    if (history.store) {
        events = history.store->eventsSync(*since, now);
        if (!history.store->error().empty()) exitWith(1);  // a failed read is not "no events"
    }

    if (options.json) {
        printJson(events);
        return;
    }
    if (!history.store) {
        print(nothingRecordedText(history.path));
        return;
    }
    if (events.empty()) {
        print("No notable events since " + Fmt::dayTime(*since) + ".\n");
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
    command->add_option("--since", options->since,
                        std::string("from when: ") + timeArgumentForms + " (default 24h; at most 500 events)");
    command->add_flag("--json", options->json, "print the events as a JSON array");
    command->add_option("--db", options->db,
                        "history database to read (default: $QUILLMERE_DB, else the data folder's history.sqlite)");
    command->callback([options] { run(*options); });
                             }};

}  // namespace
}  // namespace qm::cli::events_command
