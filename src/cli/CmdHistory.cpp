// quillmere history size | erase --yes | export: look after the minute history.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

#include "cli/Command.h"
#include "core/Clock.h"
#include "core/JsonText.h"
#include "core/TerminalText.h"
#include "fmt/Fmt.h"
#include "fmt/PlatformWording.h"
#include "history/HistoryExport.h"
#include "history/HistoryFiles.h"
#include "history/HistoryStore.h"
#include "history/TimeArguments.h"
#include "metrics/HistoryOpenMetrics.h"

namespace qm::cli::history_command {
namespace {

struct HistoryOptions {
    std::string db;
    bool yes = false;
    bool csv = false;
    bool json = false;
    bool openMetrics = false;
    std::string from;
    std::string to;
    std::string table;
};

// Exported names are process names: whatever bytes they hold, none reaches a terminal raw.
void print(const std::string& text) {
    const std::string shown = terminalSafe(text);
    std::fwrite(shown.data(), 1, shown.size(), stdout);
}

std::string databasePath(const HistoryOptions& options) {
    return options.db.empty() ? defaultHistoryPath() : options.db;
}

uint64_t bytesOnDisk(const std::string& path) { return fileBytes(path) + fileBytes(path + "-wal"); }

void runSize(const HistoryOptions& options) {
    std::string path = databasePath(options);
    // No file is 0 bytes of history; a file that cannot be looked at is not.
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 && errno != ENOENT) {
        std::fprintf(stderr, "quillmere history size: cannot read %s: %s\n", terminalSafe(path).c_str(),
                     std::strerror(errno));
        exitWith(1);
    }
    uint64_t bytes = bytesOnDisk(path);
    if (options.json) {
        print(jsonText({{"path", path}, {"bytes", bytes}, {"text", Fmt::bytes(static_cast<double>(bytes))}}, 2) + "\n");
        return;
    }
    print(Fmt::bytes(static_cast<double>(bytes)) + " (" + std::to_string(bytes) + " bytes)  " + path + "\n");
}

void runErase(const HistoryOptions& options) {
    std::string path = databasePath(options);
    if (!hasHistoryFile(path)) {
        print("There is no history to erase at " + path + ".\n");
        return;
    }
    std::string size = Fmt::bytes(static_cast<double>(bytesOnDisk(path)));
    if (!options.yes) {
        std::fprintf(stderr,
                     "quillmere history erase: this would erase every recorded minute, app row and event in %s "
                     "(%s); nothing was changed: run again with --yes to erase\n",
                     path.c_str(), size.c_str());
        exitWith(1);
    }
    HistoryStore store(path);
    if (!store.isOpen() || !store.eraseAllNow()) exitWith(1);  // the store has said why
    print("Erased all history in " + path + " (" + size + " before, " +
          Fmt::bytes(static_cast<double>(store.fileSize())) + " now).\n");
}

Date timeArgument(const std::string& option, const std::string& text, Date fallback, Date now) {
    if (text.empty()) return fallback;
    auto date = parseTimePoint(text, now);
    if (!date) {
        std::fprintf(stderr, "quillmere history export: %s\n", timeArgumentRefusal(option, text).c_str());
        exitWith(2);
    }
    return *date;
}

void runExport(const HistoryOptions& options) {
    if (int(options.csv) + int(options.json) + int(options.openMetrics) != 1) {
        std::fprintf(stderr, "quillmere history export: choose one of --csv, --json or --openmetrics\n");
        exitWith(2);
    }
    if (options.openMetrics && !options.table.empty()) {
        std::fprintf(stderr,
                     "quillmere history export: --openmetrics writes the system and app minutes, not --table\n");
        exitWith(2);
    }
    std::string table = options.table;
    if (table.empty() && options.csv) table = "system";
    if (!table.empty() && table != "system" && table != "apps" && table != "events") {
        std::fprintf(stderr, "quillmere history export: --table is system, apps or events, not \"%s\"\n",
                     table.c_str());
        exitWith(2);
    }
    Date now = Clock::system().now();
    Date from = timeArgument("--from", options.from, 0, now);
    Date to = timeArgument("--to", options.to, now, now);
    if (from > to) {
        std::fprintf(stderr, "quillmere history export: --from is later than --to\n");
        exitWith(2);
    }

    std::vector<SystemMinute> system;
    std::vector<AppMinute> apps;
    std::vector<TimelineEvent> events;
    std::string path = databasePath(options);
    if (hasHistoryFile(path)) {  // reading must not create an empty history
        HistoryStore store(path);
        if (!store.isOpen()) exitWith(1);
        if (table.empty() || table == "system") system = store.systemMinutesSync(from, to, 60);
        if (table.empty() || table == "apps") apps = store.appMinutesSync(from, to);
        // Export wants every event, not the timeline's newest 500 (-1: no limit).
        if ((table.empty() || table == "events") && !options.openMetrics) events = store.eventsSync(from, to, -1);
        if (!store.error().empty()) exitWith(1);  // a failed read is not an empty history
    }
    for (TimelineEvent& event : events) event = forThisPlatform(event);  // rows written before the rewording

    if (options.openMetrics) {
        metrics::writeHistoryOpenMetrics(system, apps, [](std::string_view piece) {
            std::fwrite(piece.data(), 1, piece.size(), stdout);
        });
        return;
    }
    if (options.csv) {
        if (table == "system") print(systemMinutesCSV(system));
        if (table == "apps") print(appMinutesCSV(apps));
        if (table == "events") print(eventsCSV(events));
        return;
    }
    nlohmann::json out = historyJSON(system, apps, events);
    print(jsonText(table.empty() ? out : out[table], 2) + "\n");
}

RegisterCommand registration{"history",
                             [](CLI::App& app) {
    auto options = std::make_shared<HistoryOptions>();
    auto* history = app.add_subcommand("history", "Size, erase or export the minute history");
    history->require_subcommand(1);
    history->fallthrough();  // `history size --db X` as well as `history --db X size`
    history->add_option("--db", options->db,
                        "history database (default: $QUILLMERE_DB, else the data folder's history.sqlite)");

    auto* size = history->add_subcommand("size", "Print the size of the history database on disk");
    size->add_flag("--json", options->json, "print the path and size as one JSON object");
    size->callback([options] { runSize(*options); });

    auto* erase = history->add_subcommand("erase", "Erase all recorded history (asks for --yes)");
    erase->add_flag("--yes", options->yes, "really erase; without it nothing changes");
    erase->callback([options] { runErase(*options); });

    auto* exporter =
        history->add_subcommand("export", "Print recorded minutes, app rows and events as CSV, JSON or OpenMetrics");
    exporter->add_flag("--csv", options->csv, "CSV of one table (--table, default system)");
    exporter->add_flag("--json", options->json, "JSON: all three tables, or the one named by --table");
    exporter->add_flag("--openmetrics", options->openMetrics,
                       "OpenMetrics with time stamps, for promtool tsdb create-blocks-from openmetrics");
    exporter->add_option("--from", options->from,
                         std::string("start: ") + timeArgumentForms + ", or Unix seconds (default: all)");
    exporter->add_option("--to", options->to, "end, in the same forms (default: now)");
    exporter->add_option("--table", options->table, "system, apps or events");
    exporter->callback([options] { runExport(*options); });
                             }};

}  // namespace
}  // namespace qm::cli::history_command
