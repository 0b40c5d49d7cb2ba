// quillmere apps: every app and process of this machine, grouped under the app that
// owns it, as the apps table shows them. Two reads a moment apart give the rates.
#include <chrono>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <thread>

#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "cli/LiveSample.h"
#include "core/JsonText.h"
#include "processes/SignatureCache.h"
#include "processes/Sources.h"
#include "shell/AppsTable.h"
#include "shell/fmt/Fmt.h"

namespace qm::cli::apps_command {
namespace {

struct AppsOptions {
    std::string filter = "all";
    std::string query;
    std::string sort = "cpu";
    bool json = false;
    bool tree = false;
};

// Names may hold anything a process chose (newlines, escapes); the terminal gets
// printable text of a bounded width.
std::string cell(const std::string& text, size_t width) {
    std::string out;
    size_t shown = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        bool continuation = (c & 0xC0) == 0x80;
        if (!continuation) {
            if (shown == width) break;
            ++shown;
        }
        out += c < 0x20 || c == 0x7F ? '?' : text[i];
    }
    if (shown < width) out.append(width - shown, ' ');
    return out;
}

std::string right(const std::string& text, size_t width) {
    size_t shown = 0;
    for (unsigned char c : text) shown += (c & 0xC0) != 0x80;
    return shown >= width ? text : std::string(width - shown, ' ') + text;
}

struct Lookup {
    std::map<std::string, const AppGroup*> groups;
    std::map<int32_t, const ProcessSample*> processes;

    std::optional<double> power(const ProcRow& row) const {
        if (row.pid) {
            auto p = processes.find(*row.pid);
            return p == processes.end() ? std::nullopt : p->second->power;
        }
        auto g = groups.find(row.id);
        return g == groups.end() ? std::nullopt : g->second->power;
    }
};

void printRow(const ProcRow& row, const Lookup& lookup, bool child) {
    std::string name = (child ? "  " : "") + row.name;
    std::string mark = row.approximate ? "\u2248" : " ";  // estimated figures
    std::cout << cell(name, 34) << ' ' << cell(label(row.kind), 10) << ' ' << mark << right(Fmt::percent(row.cpu), 7)
              << ' ' << right(Fmt::bytes(row.memory), 9) << ' ' << right(Fmt::watts(lookup.power(row)), 8) << ' '
              << right(Fmt::rate(row.disk), 10) << ' ' << right(std::to_string(row.count), 5) << '\n';
}

nlohmann::json rowJSON(const ProcRow& row, const Lookup& lookup, bool tree) {
    nlohmann::json j{{"id", row.id},
                     {"groupID", row.groupID},
                     {"pid", row.pid ? nlohmann::json(*row.pid) : nlohmann::json(nullptr)},
                     {"name", row.name},
                     {"kind", rawValue(row.kind)},
                     {"cpu", row.cpu},
                     {"memory", row.memory},
                     {"disk", row.disk},
                     {"count", row.count},
                     {"approximate", row.approximate}};
    auto power = lookup.power(row);
    j["power"] = power ? nlohmann::json(*power) : nlohmann::json(nullptr);
    // Who made it: the group's executable, or the process's own.
    std::string executable;
    if (row.pid) {
        if (auto p = lookup.processes.find(*row.pid); p != lookup.processes.end()) executable = p->second->path;
    } else if (auto g = lookup.groups.find(row.id); g != lookup.groups.end()) {
        executable = groupExecutable(*g->second);
    }
    j["trust"] = rawValue(SignatureCache::shared().lookupAndWait(executable).trust);
    if (tree && row.children) {
        j["children"] = nlohmann::json::array();
        for (const auto& c : *row.children) j["children"].push_back(rowJSON(c, lookup, false));
    }
    return j;
}

void run(const AppsOptions& options) {
    AppsTable table;
    table.filter = appsFilterFromRaw(options.filter).value_or(AppsTable::Filter::all);
    table.query = options.query;
    table.sortOrder = {{appsColumnFromRaw(options.sort).value_or(AppsTable::Column::cpu), false}};

    auto reader = makeProcessListSource();
    reader->read(true);  // the base for the rates
    std::this_thread::sleep_for(primingDelay);
    ProcessReadResult result = reader->read(true);

    Lookup lookup;
    for (const auto& g : result.groups) {
        lookup.groups[g.id] = &g;
        for (const auto& p : g.processes) lookup.processes[p.pid] = &p;
    }
    auto rows = table.rows(result.groups);

    if (options.json) {
        nlohmann::json out = nlohmann::json::array();
        for (const auto& row : rows) out.push_back(rowJSON(row, lookup, options.tree));
        std::cout << jsonText(out, 2) << '\n';
        return;
    }
    std::cout << appsText::countLine(result.processCount, static_cast<int64_t>(rows.size())) << "\n\n";
    std::cout << cell("NAME", 34) << ' ' << cell("KIND", 10) << ' ' << ' ' << right("CPU", 7) << ' '
              << right("MEMORY", 9) << ' ' << right("POWER", 8) << ' ' << right("DISK", 10) << ' ' << right("PROCS", 5)
              << '\n';
    bool anyApproximate = false;
    for (const auto& row : rows) {
        printRow(row, lookup, false);
        anyApproximate = anyApproximate || row.approximate;
        if (options.tree && row.children)
            for (const auto& child : *row.children) printRow(child, lookup, true);
    }
    if (anyApproximate) std::cout << "\n\u2248 " << appsText::estimatedHelp << '\n';
}

RegisterCommand registration("apps", [](CLI::App& app) {
    auto options = std::make_shared<AppsOptions>();
    auto* cmd = app.add_subcommand("apps", "List apps and processes, grouped under the app that owns them");
    cmd->add_option("--filter", options->filter, "Which kinds to show: all, apps, background, system")
        ->check(CLI::IsMember({"all", "apps", "background", "system"}));
    cmd->add_option("--query", options->query, "Keep rows whose app or process name contains TEXT");
    cmd->add_option("--sort", options->sort, "Sort column, busiest first: cpu, memory, power, disk")
        ->check(CLI::IsMember({"cpu", "memory", "power", "disk"}));
    cmd->add_flag("--json", options->json, "Print the rows as JSON");
    cmd->add_flag("--tree", options->tree, "Show the processes of each app under it");
    cmd->callback([options] { run(*options); });
});

}  // namespace
}  // namespace qm::cli::apps_command
