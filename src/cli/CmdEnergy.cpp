// quillmere energy: what is using the battery. The power drawn now and what it means,
// the battery, the apps drawing the most power now (two live ticks half a second apart),
// what drained the battery since it was unplugged and today's totals from the history.
#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cli/Command.h"
#include "cli/HistoryAccess.h"
#include "cli/LiveSample.h"
#include "cli/Output.h"
#include "core/Clock.h"
#include "core/Queue.h"
#include "core/SnapshotJson.h"
#include "engine/Sampler.h"
#include "fmt/Fmt.h"
#include "history/Energy.h"
#include "history/HistoryStore.h"

namespace qm::cli::energy_command {
namespace {

struct EnergyOptions {
    bool json = false;
    std::string db;
};

// What the history adds to the live figures.
struct HistoryPart {
    bool recorded = false;                  // a recorder has written the history
    std::optional<Date> unplugged;          // only while running on battery
    std::vector<energy::DrainShare> drain;  // since `unplugged`
    std::vector<AppTotal> today;
};

bool onBattery(const BatteryStats& battery) { return battery.present && !battery.onAC; }

HistoryPart readHistory(const RecordedHistory& history, const BatteryStats& battery, Date now,
                        std::vector<AppTotal> today) {
    HistoryPart part;
    if (!history.store) return part;
    part.recorded = true;
    HistoryStore& store = *history.store;
    part.today = std::move(today);
    if (onBattery(battery)) {
        // Without the app's live session, the minutes recorded on battery since the
        // last minute on mains tell the same story a minute behind.
        part.unplugged = store.lastUnpluggedSync();
        if (part.unplugged) part.drain = energy::drainShares(store.appTotalsSync(*part.unplugged, now, true, 100));
    }
    return part;
}

std::vector<std::string> batteryLines(const BatteryStats& battery) {
    std::vector<std::string> lines;
    if (!battery.present) return lines;
    std::string state = battery.isCharging ? "charging" : battery.onAC ? "on the adapter" : "on battery";
    lines.push_back("Battery " + Fmt::percent(battery.percent) + ", " + state);
    if (auto line = energy::powerSourceLine(battery)) lines.push_back(*line);
    if (auto note = energy::chargeLimitNote(battery)) lines.push_back(*note);
    if (auto health = energy::healthSentence(battery)) lines.push_back(*health);
    return lines;
}

void printText(const Snapshot& snapshot, const HistoryPart& history, const std::string& path) {
    std::optional<double> watts = energy::machinePower(snapshot);
    print("Power now: " + Fmt::watts(watts) + "\n");
    print(energy::powerSentence(snapshot.battery, watts) + "\n");
    for (const std::string& line : batteryLines(snapshot.battery)) print(line + "\n");

    print(std::string("\n") + energy::powerNowHeader + "\n");
    auto users = energy::powerNow(snapshot);
    if (users.empty()) print(std::string("  ") + energy::powerNowEmptyText(snapshot) + "\n");
    for (const auto& user : users) print("  " + Fmt::watts(user.watts) + "  " + user.name + "\n");

    if (onBattery(snapshot.battery)) {
        print(std::string("\n") + energy::drainHeader + "\n");
        if (history.unplugged) print("  " + energy::sinceUnpluggedSubtitle(*history.unplugged) + "\n");
        if (history.drain.empty()) print(std::string("  ") + energy::drainMeasuring + "\n");
        for (const auto& d : history.drain)
            print("  " + Fmt::energy(d.joules) + "  " + d.name + ": " + energy::shareSentence(d.share) + "\n");
    }

    print("\nToday (" + std::string(energy::todayCaption) + ")\n");
    if (!history.recorded) {
        print(nothingRecordedText(path));
        return;
    }
    if (history.today.empty()) print(std::string("  ") + energy::todayEmpty + "\n");
    // Without any power reading no app's energy was measured: not 0.
    const bool measured = energy::energyMeasured(history.today);
    for (const AppTotal& total : history.today)
        print("  " + (measured ? Fmt::energy(total.energy) : std::string(energy::notMeasured)) + "  " +
              energy::cpuTimeText(total) + "  " + total.name + "\n");
}

void printEnergyJson(const Snapshot& snapshot, const HistoryPart& history) {
    std::optional<double> watts = energy::machinePower(snapshot);
    nlohmann::json j;
    j["watts"] = watts ? nlohmann::json(*watts) : nlohmann::json(nullptr);
    j["sentence"] = energy::powerSentence(snapshot.battery, watts);
    j["battery"] = snapshot.battery;
    j["batteryLines"] = batteryLines(snapshot.battery);
    nlohmann::json users = nlohmann::json::array();
    for (const auto& user : energy::powerNow(snapshot))
        users.push_back({{"key", user.key}, {"name", user.name}, {"watts", user.watts}});
    j["powerNow"] = users;
    if (onBattery(snapshot.battery)) {
        nlohmann::json drain = nlohmann::json::array();
        for (const auto& d : history.drain)
            drain.push_back({{"key", d.key}, {"name", d.name}, {"joules", d.joules}, {"share", d.share}});
        j["sinceUnplugged"] = {{"since", history.unplugged ? nlohmann::json(*history.unplugged) : nullptr},
                               {"apps", drain}};
    } else {
        j["sinceUnplugged"] = nullptr;
    }
    j["today"] = history.today;
    if (!energy::energyMeasured(history.today))
        for (auto& row : j["today"]) row["energy"] = nullptr;  // not measured, not 0
    j["recorded"] = history.recorded;
    printJson(j);
}

void run(const EnergyOptions& options) {
    // Today's totals are read from the history while the sampler waits out the interval
    // its rates need: the two take about as long, and a person waits for the longer.
    RecordedHistory recorded = openRecordedHistory(options.db, "energy");
    const Date now = Clock::system().now();
    auto today = std::async(std::launch::async, [&recorded, now] {
        return recorded.store ? energy::todayTotals(*recorded.store, now) : std::vector<AppTotal>{};
    });
    auto snapshot = primedSnapshot();
    std::vector<AppTotal> totals = today.get();
    if (!snapshot) {
        std::fprintf(stderr, "quillmere energy: could not take a sample of this machine\n");
        exitWith(1);
    }
    HistoryPart history = readHistory(recorded, snapshot->battery, now, std::move(totals));
    // A failed read has been logged; it must not pass for a day without energy.
    if (recorded.store && !recorded.store->error().empty()) exitWith(1);
    if (options.json)
        printEnergyJson(*snapshot, history);
    else
        printText(*snapshot, history, recorded.path);
}

RegisterCommand registration{"energy",
                             [](CLI::App& app) {
    auto options = std::make_shared<EnergyOptions>();
    auto* command = app.add_subcommand("energy", "What is using power now, the battery, and today's energy per app");
    command->add_flag("--json", options->json, "print everything as one JSON object");
    command->add_option("--db", options->db,
                        "history database to read (default: $QUILLMERE_DB, else the data folder's history.sqlite)");
    command->callback([options] { run(*options); });
                             }};

}  // namespace
}  // namespace qm::cli::energy_command
