// quillmere search QUERY: the command palette's result list for a query: running
// apps (busiest first), screens of the window and entries of the process library.
#include <chrono>
#include <memory>
#include <sstream>
#include <thread>

#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "cli/LiveSample.h"
#include "cli/Output.h"
#include "core/Platform.h"
#include "knowledge/CommandPalette.h"
#include "knowledge/ProcessLibrary.h"

namespace qm::cli::search_command {
namespace {

// The human-readable answer, printed at once in this platform's words.
std::ostringstream text;

// Running groups with CPU rates: two reads of the process list a moment apart.
Snapshot processSnapshot() {
    Snapshot snapshot;
    auto source = Platform::current().processes();
    if (!source) return snapshot;
    const auto due = std::chrono::steady_clock::now() + primingDelay;  // the first read counts
    source->read(true);
    std::this_thread::sleep_until(due);
    ProcessReadResult result = source->read(true);
    snapshot.groups = std::move(result.groups);
    snapshot.processCount = result.processCount;
    return snapshot;
}

const char* kindName(CommandPalette::Item::Kind kind) {
    switch (kind) {
        case CommandPalette::Item::Kind::section: return "screen";
        case CommandPalette::Item::Kind::group: return "running";
        case CommandPalette::Item::Kind::library: return "library";
    }
    return "";
}

nlohmann::json actionJSON(const CommandPalette::Action& action) {
    switch (action.kind) {
        case CommandPalette::Action::Kind::selectSection:
            return {{"kind", "selectSection"}, {"section", rawValue(action.section)}};
        case CommandPalette::Action::Kind::selectGroup:
            return {{"kind", "selectGroup"}, {"section", rawValue(action.section)}, {"group", action.groupID}};
        case CommandPalette::Action::Kind::openURL: return {{"kind", "openURL"}, {"url", action.url}};
    }
    return {};
}

void write(const std::string& query, bool json) {
#ifdef QUILLMERE_DATADIR
    ProcessLibrary::setInstalledDataDirectory(QUILLMERE_DATADIR);
#endif
    const ProcessLibrary& library = ProcessLibrary::shared();
    const auto items = CommandPalette::items(query, processSnapshot(), library);
    if (json) {
        nlohmann::json out = nlohmann::json::array();
        for (const auto& item : items)
            out.push_back({{"id", item.id()},
                           {"kind", kindName(item.kind)},
                           {"title", item.title()},
                           {"subtitle", item.subtitle()},
                           {"action", actionJSON(CommandPalette::action(item))}});
        printJson(out);
        return;
    }
    if (items.empty()) {
        text << "Nothing matches \"" << query << "\".\n";
        return;
    }
    for (const auto& item : items) {
        text << kindName(item.kind) << "\t" << item.title() << "\t" << item.subtitle();
        if (item.kind == CommandPalette::Item::Kind::library) text << "\t" << item.entry->webURL();
        text << '\n';
    }
}

void run(const std::string& query, bool json) {
    write(query, json);
    print(text.str());
}

RegisterCommand registration("search", [](CLI::App& app) {
    auto query = std::make_shared<std::string>();
    auto json = std::make_shared<bool>(false);
    auto* cmd =
        app.add_subcommand("search", "Find running apps, screens and known processes, as the command palette does");
    cmd->add_option("query", *query, "What to look for (empty: the busiest apps and every screen)");
    cmd->add_flag("--json", *json, "Print the results as a JSON list");
    cmd->callback([query, json] { run(*query, *json); });
});

}  // namespace
}  // namespace qm::cli::search_command
