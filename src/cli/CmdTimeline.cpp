// quillmere timeline: the recorded history of a range in buckets, the range's events,
// and with --at what the machine was doing at one moment.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "cli/Command.h"
#include "cli/HistoryAccess.h"
#include "cli/Output.h"
#include "cli/ProcessDetails.h"
#include "core/Clock.h"
#include "core/SnapshotJson.h"
#include "fmt/Fmt.h"
#include "history/TimeArguments.h"
#include "history/Timeline.h"

namespace qm::cli::timeline_command {
namespace {

using Range = HistoryTimelineView::Range;

struct TimelineOptions {
    std::string range = "24h";
    std::string at;
    bool json = false;
    std::string db;
};

// Labels for the rows: the time of day is enough within a day, longer ranges need the day.
std::string rowLabel(Date date, Range range) {
    return range == Range::hour || range == Range::day ? Fmt::time(date) : Fmt::dayTime(date);
}

std::string pad(std::string text, size_t width) {
    size_t chars = displayWidth(text);
    if (chars < width) text.insert(0, width - chars, ' ');
    return text;
}

std::string pressureText(int64_t code) {
    // The rows keep the kernel's code: 1 normal, 2 warning, 4 critical.
    if (code >= 4) return label(PressureLevel::critical);
    if (code >= 2) return label(PressureLevel::warning);
    return label(PressureLevel::normal);
}

std::string tableHeader(size_t labelWidth) {
    return pad("", labelWidth) + pad("CPU", 6) + pad("Memory", 16) + pad("Pressure", 10) + pad("Swap", 9) +
           pad("GPU", 6) + pad("Power", 9) + pad("Temp", 8) + pad("Battery", 10) + "\n";
}

std::string rowLine(const SystemMinute& row, Range range, size_t labelWidth) {
    std::string label = rowLabel(static_cast<Date>(row.ts), range);
    std::string memory = Fmt::bytes(row.memUsed) + " / " + Fmt::bytes(row.memTotal);
    std::string gpu = row.gpu ? Fmt::percent(*row.gpu) : Fmt::absent;
    // "AC" marks a bucket spent wholly on the adapter (a bucket holds its worst minute).
    std::string battery = row.battery ? Fmt::percent(*row.battery) + (row.onBattery ? "" : " AC") : Fmt::absent;
    std::string line = label;
    line.append(labelWidth > displayWidth(label) ? labelWidth - displayWidth(label) : 1, ' ');
    return line + pad(Fmt::percent(row.cpu), 6) + pad(memory, 16) + pad(pressureText(row.pressureLevel), 10) +
           pad(Fmt::bytes(row.swap), 9) + pad(gpu, 6) + pad(Fmt::watts(row.power), 9) + pad(Fmt::temp(row.socTemp), 8) +
           pad(battery, 10) + "\n";
}

void printEvents(const std::vector<TimelineEvent>& events, Date now, const std::string& indent) {
    for (const TimelineEvent& e : events) {
        print(indent + Fmt::dayTime(e.date) + " (" + HistoryTimelineView::eventAge(e.date, now) + ")  " + e.title +
              "\n");
        if (!e.detail.empty()) print(indent + "    " + e.detail + "\n");
    }
}

void printMoment(const MomentPanel& panel, Range range, Date now) {
    print("\nAt " + Fmt::dayTime(*panel.date) + "\n");
    if (panel.apps.empty()) {
        print("  " + std::string(HistoryTimelineView::noAppData) + "\n");
    } else {
        print("  Busiest apps:\n");
        // A minute in which no app's energy was measured (no power reading) shows none.
        const bool measured =
            std::any_of(panel.apps.begin(), panel.apps.end(), [](const AppMinute& app) { return app.energy > 0; });
        for (const AppMinute& app : panel.apps)
            print("    " + pad(Fmt::percent(app.cpu), 6) + pad(Fmt::bytes(app.memory), 9) +
                  pad(measured ? Fmt::energy(app.energy) : std::string("\u2014"), 10) + "  " + app.name + "\n");
    }
    if (panel.row) {
        size_t width = displayWidth(rowLabel(static_cast<Date>(panel.row->ts), range)) + 2;
        print("  " + tableHeader(width));
        print("  " + rowLine(*panel.row, range, width));
    }
    if (!panel.events.empty()) {
        print("  Around then:\n");
        printEvents(panel.events, now, "    ");
    }
}

nlohmann::json momentJson(const MomentPanel& panel) {
    nlohmann::json j;
    j["date"] = *panel.date;
    j["apps"] = panel.apps;
    j["row"] = panel.row ? nlohmann::json(*panel.row) : nlohmann::json(nullptr);
    j["events"] = panel.events;
    return j;
}

void run(const TimelineOptions& options) {
    auto range = HistoryTimelineView::rangeFromTitle(options.range);
    if (!range) {
        std::fprintf(stderr, "quillmere timeline: unknown --range \"%s\" (1h, 24h, 7d, 30d)\n", options.range.c_str());
        exitWith(2);
    }
    Date now = Clock::system().now();
    std::optional<Date> at;
    if (!options.at.empty()) {
        at = parseTimePoint(options.at, now);
        if (!at) {
            std::fprintf(stderr, "quillmere timeline: %s\n", timeArgumentRefusal("--at", options.at).c_str());
            exitWith(2);
        }
        if (!HistoryTimelineView::contains(*range, *at, now)) {
            std::fprintf(stderr, "quillmere timeline: --at %s is outside the last %s\n", options.at.c_str(),
                         HistoryTimelineView::title(*range).c_str());
            exitWith(2);
        }
    }

    HistoryTimelineView view;
    view.range = *range;
    RecordedHistory history = openRecordedHistory(options.db, "timeline");
    if (history.store) {
        view.loadNow(*history.store, now);
        if (at) view.selectNow(*at, *history.store);
        // A failed read has been logged; it must not pass for an empty history.
        if (!history.store->error().empty()) exitWith(1);
    } else {
        view.loaded = true;
        if (at) view.selected = at;
    }
    MomentPanel panel = view.momentPanel();

    if (options.json) {
        nlohmann::json j;
        j["range"] = HistoryTimelineView::title(*range);
        j["bucket"] = HistoryTimelineView::bucket(*range);
        j["from"] = now - static_cast<double>(HistoryTimelineView::span(*range));
        j["to"] = now;
        j["rows"] = view.rows;
        j["events"] = view.events;
        j["moment"] = at ? momentJson(panel) : nlohmann::json(nullptr);
        j["recorded"] = history.store != nullptr;
        printJson(j);
        return;
    }

    // The range as it is typed ("24h"), not as the window's range buttons label it ("24H").
    std::string span = HistoryTimelineView::title(*range);
    for (char& c : span) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    print("Timeline, last " + span + " (" + Fmt::duration(static_cast<double>(HistoryTimelineView::bucket(*range))) +
          " buckets)\n");
    if (!history.store) {
        print(nothingRecordedText(history.path));
        return;
    }
    if (view.rows.empty()) {
        print(std::string(HistoryTimelineView::emptyTitle) + "\n" + HistoryTimelineView::emptyText + "\n");
    } else {
        size_t width = 0;
        for (const SystemMinute& row : view.rows)
            width = std::max(width, displayWidth(rowLabel(static_cast<Date>(row.ts), *range)));
        width += 2;
        print(tableHeader(width));
        for (const SystemMinute& row : view.rows) print(rowLine(row, *range, width));
    }

    print("\nEvents: " + HistoryTimelineView::eventCount(view.events.size()) + "\n");
    if (view.events.empty())
        print(std::string("  ") + HistoryTimelineView::noEvents + "\n");
    else
        printEvents(view.events, now, "  ");

    if (at)
        printMoment(panel, *range, now);
    else if (!view.rows.empty())
        print("\nUse --at TIME to see which apps were busiest at a moment.\n");
}

RegisterCommand registration{"timeline",
                             [](CLI::App& app) {
    auto options = std::make_shared<TimelineOptions>();
    auto* command = app.add_subcommand("timeline", "Scroll back through the recorded history and its events");
    command->add_option("--range", options->range, "1h, 24h, 7d or 30d (default 24h)");
    command->add_option("--at", options->at, std::string("a moment to look at: ") + timeArgumentForms);
    command->add_flag("--json", options->json, "print the rows, events and moment as JSON");
    command->add_option("--db", options->db,
                        "history database to read (default: $QUILLMERE_DB, else the data folder's history.sqlite)");
    command->callback([options] { run(*options); });
                             }};

}  // namespace
}  // namespace qm::cli::timeline_command
