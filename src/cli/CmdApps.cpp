// quillmere apps: every app and process of this machine, grouped under the app that
// owns it, as the apps table shows them. Two reads a moment apart give the rates.
// Rows carry what a person needs to act on them: PIDs, and the command line of each
// process (--tree, --json, --pid).
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <thread>

#include <nlohmann/json.hpp>

#include "cli/ArgumentChecks.h"
#include "cli/Command.h"
#include "cli/LiveSample.h"
#include "cli/Output.h"
#include "cli/ProcessDetails.h"
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
    int pid = 0;  // 0: every row
};

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
    const AppGroup* group(const std::string& id) const {
        auto g = groups.find(id);
        return g == groups.end() ? nullptr : g->second;
    }
    // The process a row stands for: its own, or the only process of a one-process group.
    std::optional<int32_t> pid(const ProcRow& row) const {
        if (row.pid) return row.pid;
        const AppGroup* g = group(row.id);
        if (g != nullptr && g->processes.size() == 1) return g->processes.front().pid;
        return std::nullopt;
    }
};

// The columns after the name; the name takes what the terminal's width leaves.
struct Layout {
    size_t name = 34;
    bool kind = true;
    bool power = true;
    bool disk = true;
};

Layout layoutFor(size_t width) {
    Layout layout;
    if (width == 0) return layout;  // not a terminal: the full table
    // Always shown: PID 8, the estimate mark 1, CPU 7, MEMORY 10, PROCS 6. The others
    // go, in this order, when the name would get fewer than 12 characters.
    size_t fixed = 32;
    const std::pair<bool*, size_t> optional[] = {{&layout.kind, 11}, {&layout.disk, 11}, {&layout.power, 9}};
    for (const auto& [shown, columnWidth] : optional) {
        if (fixed + columnWidth + 12 <= width)
            fixed += columnWidth;
        else
            *shown = false;
    }
    layout.name = width > fixed + 8 ? std::min<size_t>(width - fixed, 60) : 8;
    return layout;
}

std::string rowLine(const Layout& layout, const std::string& name, const std::string& pid, const std::string& kind,
                    const std::string& mark, const std::string& cpu, const std::string& memory,
                    const std::string& power, const std::string& disk, const std::string& count) {
    std::string line = cell(name, layout.name) + rightAligned(pid, 8);
    if (layout.kind) line += "  " + cell(kind, 9);
    line += mark + rightAligned(cpu, 7) + rightAligned(memory, 10);
    if (layout.power) line += rightAligned(power, 9);
    if (layout.disk) line += rightAligned(disk, 11);
    line += rightAligned(count, 6);
    // Trailing spaces of a cut row are noise in a pipe.
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line + "\n";
}

std::string printRow(const Layout& layout, const ProcRow& row, const Lookup& lookup, bool child) {
    auto pid = lookup.pid(row);
    // Child rows in the tree show what each process runs, not fourteen times "bash".
    std::string name = row.name;
    if (child) {
        std::string command = pid ? commandLine(*pid) : std::string();
        // The program's own name is enough in a row: "cc1plus -quiet ...", not its whole path.
        if (auto slash = command.rfind('/', command.find(' '));
            !command.empty() && command[0] == '/' && slash != std::string::npos)
            command.erase(0, slash + 1);
        name = "  " + (command.empty() ? row.name : command);
    }
    const std::string mark = row.approximate ? "\u2248" : " ";  // estimated figures
    return rowLine(layout, name, pid ? std::to_string(*pid) : "", label(row.kind), mark, Fmt::percent(row.cpu),
                   Fmt::bytes(row.memory), Fmt::watts(lookup.power(row)), Fmt::rate(row.disk),
                   std::to_string(row.count));
}

nlohmann::json rowJSON(const ProcRow& row, const Lookup& lookup, bool tree) {
    auto pid = lookup.pid(row);
    nlohmann::json j{{"id", row.id},
                     {"groupID", row.groupID},
                     {"pid", pid ? nlohmann::json(*pid) : nlohmann::json(nullptr)},
                     {"name", row.name},
                     {"kind", rawValue(row.kind)},
                     {"cpu", row.cpu},
                     {"memory", row.memory},
                     {"disk", row.disk},
                     {"count", row.count},
                     {"approximate", row.approximate}};
    nlohmann::json pids = nlohmann::json::array();
    if (row.pid) {
        pids.push_back(*row.pid);
    } else if (const AppGroup* g = lookup.group(row.id)) {
        for (const ProcessSample& p : g->processes) pids.push_back(p.pid);
    }
    j["pids"] = pids;
    j["commandLine"] = pid ? nlohmann::json(commandLine(*pid)) : nlohmann::json(nullptr);
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

// apps --pid N: one process in full.
void printProcess(const ProcessSample& p, const AppGroup& group, bool json) {
    const std::string command = commandLine(p.pid);
    if (json) {
        printJson({{"pid", p.pid},
                   {"ppid", p.ppid},
                   {"uid", p.uid},
                   {"name", p.name},
                   {"path", p.path},
                   {"commandLine", command},
                   {"groupID", group.id},
                   {"group", group.name},
                   {"kind", rawValue(group.kind)},
                   {"cpu", p.cpu},
                   {"memory", p.memory},
                   {"power", p.power ? nlohmann::json(*p.power) : nlohmann::json(nullptr)},
                   {"diskReadRate", p.diskReadRate},
                   {"diskWriteRate", p.diskWriteRate},
                   {"approximate", p.approximate}});
        return;
    }
    std::string out = p.name + " (pid " + std::to_string(p.pid) + ", parent " + std::to_string(p.ppid) + ")\n";
    if (!command.empty()) out += "  Command    " + cell(command, std::max<size_t>(displayWidth(command), 1)) + "\n";
    if (!p.path.empty()) out += "  Program    " + p.path + "\n";
    out += "  App        " + group.name + " (" + label(group.kind) + ", " + std::to_string(group.processes.size()) +
           (group.processes.size() == 1 ? " process" : " processes") + ")\n";
    out += "  CPU        " + Fmt::percent(p.cpu) + (p.approximate ? " (estimated)" : "") + "\n";
    out += "  Memory     " + Fmt::bytes(static_cast<double>(p.memory)) + "\n";
    out += "  Disk       read " + Fmt::rate(p.diskReadRate) + ", write " + Fmt::rate(p.diskWriteRate) + "\n";
    if (p.power) out += "  Power      " + Fmt::watts(p.power) + "\n";
    print(out);
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

    if (options.pid != 0) {
        for (const auto& g : result.groups)
            for (const auto& p : g.processes)
                if (p.pid == options.pid) return printProcess(p, g, options.json);
        std::fprintf(stderr, "quillmere apps: no running process has pid %d\n", options.pid);
        exitWith(1);
    }

    auto rows = table.rows(result.groups);
    if (options.json) {
        nlohmann::json out = nlohmann::json::array();
        for (const auto& row : rows) out.push_back(rowJSON(row, lookup, options.tree));
        printJson(out);
        return;
    }
    const Layout layout = layoutFor(outputWidth());
    std::string out = appsText::countLine(result.processCount, static_cast<int64_t>(rows.size())) + "\n\n";
    out += rowLine(layout, "NAME", "PID", "KIND", " ", "CPU", "MEMORY", "POWER", "DISK", "PROCS");
    bool anyApproximate = false;
    for (const auto& row : rows) {
        out += printRow(layout, row, lookup, false);
        anyApproximate = anyApproximate || row.approximate;
        if (options.tree && row.children)
            for (const auto& child : *row.children) out += printRow(layout, child, lookup, true);
    }
    if (anyApproximate) out += "\n\u2248 " + std::string(appsText::estimatedHelp) + "\n";
    print(out);
}

RegisterCommand registration("apps", [](CLI::App& app) {
    auto options = std::make_shared<AppsOptions>();
    auto* cmd = app.add_subcommand("apps", "List apps and processes, grouped under the app that owns them");
    cmd->add_option("--filter", options->filter, "Which kinds to show: all, apps, background, system")
        ->check(oneOf({"all", "apps", "background", "system"}));
    cmd->add_option("--query", options->query, "Keep rows whose app or process name contains TEXT");
    cmd->add_option("--sort", options->sort, "Sort column, busiest first: cpu, memory, power, disk")
        ->check(oneOf({"cpu", "memory", "power", "disk"}));
    cmd->add_flag("--json", options->json, "Print the rows as JSON (with PIDs and command lines)");
    cmd->add_flag("--tree", options->tree, "Show the processes of each app under it, with their command lines");
    cmd->add_option("--pid", options->pid, "Show one process in full: its command line, parent, app and figures")
        ->check(wholeNumber(1, 2147483647));
    cmd->callback([options] { run(*options); });
});

}  // namespace
}  // namespace qm::cli::apps_command
