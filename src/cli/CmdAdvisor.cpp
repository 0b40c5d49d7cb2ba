// quillmere advisor: whether the installed memory is enough, judged from the last
// 30 days of recorded history.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "cli/HistoryAccess.h"
#include "cli/Output.h"
#include "history/Advisor.h"
#include "knowledge/StatusChips.h"
#include "readers/MachineInfo.h"

namespace qm::cli::advisor_command {
namespace {

struct AdvisorOptions {
    bool json = false;
    std::string db;
};

void run(const AdvisorOptions& options) {
    RecordedHistory history = openRecordedHistory(options.db, "advisor");
    std::optional<Advisor> advisor;
    if (history.store) advisor = Advisor::load(*history.store);
    // A failed read has been logged; it must not pass for "still learning".
    if (history.store && !history.store->error().empty()) exitWith(1);
    int64_t installedGB = wholeGigabytes(MachineInfo::current().memory);
    advisor::Card card = advisor::card(advisor, installedGB);

    if (options.json) {
        nlohmann::json j;
        j["verdict"] = advisor::rawValue(card.verdict);
        j["title"] = card.title;
        j["text"] = card.text;
        j["symbol"] = card.symbol;
        j["installedGB"] = installedGB;
        j["suggestedGB"] = card.suggested ? nlohmann::json(*card.suggested) : nlohmann::json(nullptr);
        nlohmann::json tiles = nlohmann::json::array();
        for (const auto& tile : card.tiles) tiles.push_back({{"title", tile.title}, {"value", tile.value}});
        j["tiles"] = tiles;
        if (advisor)
            j["profile"] = {{"minutes", advisor->minutes},
                            {"pressuredFraction", advisor->pressuredFraction},
                            {"peakSwap", advisor->peakSwap},
                            {"peakUsed", advisor->peakUsed}};
        else
            j["profile"] = nullptr;
        j["recorded"] = history.store != nullptr;
        printJson(j);
        return;
    }

    if (!history.store) {
        print(nothingRecordedText(history.path));
        return;
    }
    print(card.title + "\n" + card.text + "\n");
    if (card.tiles.empty()) return;
    print(std::string("\n") + advisor::tilesCaption + "\n");
    size_t width = 0;
    for (const auto& tile : card.tiles) width = std::max(width, tile.title.size());
    for (const auto& tile : card.tiles)
        print("  " + tile.title + std::string(width - tile.title.size() + 2, ' ') + tile.value + "\n");
}

RegisterCommand registration{"advisor",
                             [](CLI::App& app) {
    auto options = std::make_shared<AdvisorOptions>();
    auto* command = app.add_subcommand("advisor", "Whether this machine's memory is enough, from 30 days of history");
    command->add_flag("--json", options->json, "print the verdict and its figures as JSON");
    command->add_option("--db", options->db,
                        "history database to read (default: $QUILLMERE_DB, else the data folder's history.sqlite)");
    command->callback([options] { run(*options); });
                             }};

}  // namespace
}  // namespace qm::cli::advisor_command
