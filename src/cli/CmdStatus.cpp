// quillmere status: the one-line verdict on this machine with its detail, level and
// the row of facts under it. Two real samples half a second apart, so CPU figures
// are rates rather than totals since boot.
#include <cstdio>
#include <memory>
#include <optional>

#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "cli/LiveSample.h"
#include "cli/Output.h"
#include "core/Defaults.h"
#include "core/Queue.h"
#include "engine/Sampler.h"
#include "knowledge/Insights.h"
#include "knowledge/StatusChips.h"
#include "readers/MachineInfo.h"
#include "shell/MachineSections.h"

namespace qm::cli::status_command {
namespace {

const char* levelName(int level) {
    if (level <= 0) return "fine";
    return level == 1 ? "attention" : "alert";
}

void run(bool json) {
    auto snapshot = primedSnapshot();
    if (!snapshot) {
        std::fprintf(stderr, "quillmere status: could not take a sample of this machine\n");
        exitWith(1);
    }
    const MachineInfo& machine = MachineInfo::current();
    const Insights::Status status = Insights::status(*snapshot);
    const std::vector<StatusChip> chips =
        statusChips(*snapshot, machine.memory, machine.chipName, machine.systemName());

    if (json) {
        nlohmann::json chipList = nlohmann::json::array();
        for (const StatusChip& chip : chips) chipList.push_back({{"symbol", chip.symbol}, {"text", chip.text}});
        const uint64_t memory = machine.memory > 0 ? machine.memory : snapshot->memory.total;
        nlohmann::json out = {
            {"title", status.title},
            {"detail", status.detail},
            {"level", status.level},
            {"levelName", levelName(status.level)},
            {"symbol", Insights::levelSymbol(status.level)},
            {"processes", snapshot->processCount},
            {"apps", snapshot->groups.size()},
            {"memory", memory},
            {"memoryGB", wholeGigabytes(memory)},
            {"memoryUsed", snapshot->memory.used()},
            {"uptime", snapshot->uptime},
            {"chip", machine.chipName},
            {"system", machine.systemName()},
            {"chips", chipList},
        };
        if (auto note = sections::memoryUsedNote()) out["memoryUsedNote"] = *note;
        printJson(out);
        return;
    }
    std::string text = "[" + std::string(levelName(status.level)) + "] " + status.title + "\n";
    if (!status.detail.empty()) text += status.detail + "\n";
    text += "\n";
    for (size_t i = 0; i < chips.size(); ++i) text += (i ? " · " : "") + chips[i].text;
    print(text + "\n");
}

RegisterCommand registration("status", [](CLI::App& app) {
    auto json = std::make_shared<bool>(false);
    auto* cmd = app.add_subcommand("status", "Say in one line how this machine is doing, with the facts behind it");
    cmd->add_flag("--json", *json, "Print the status as one JSON object");
    cmd->callback([json] { run(*json); });
});

}  // namespace
}  // namespace qm::cli::status_command

namespace qm::cli {

void printStatusSummary(bool json) { status_command::run(json); }

}  // namespace qm::cli
