// quillmere apps: every app and process of this machine, grouped under the app that
// owns it, as the apps table shows them. Two reads a moment apart give the rates.
// Rows carry what a person needs to act on them: PIDs, and the command line of each
// process (--tree, --json, --pid).
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/ArgumentChecks.h"
#include "cli/Command.h"
#include "cli/LiveSample.h"
#include "cli/Output.h"
#include "cli/ProcessDetails.h"
#include "fmt/Fmt.h"
#include "processes/ProcessCommandLine.h"
#include "processes/SignatureCache.h"
#include "processes/Sources.h"
#include "shell/AppsTable.h"

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
    // The row's GPU share and GPU memory, into `j` only where known: a process with no
    // GPU client has no GPU figures, not zero ones.
    void putGPU(const ProcRow& row, nlohmann::json& j) const {
        std::optional<double> gpu;
        std::optional<uint64_t> gpuMemory;
        if (row.pid) {
            if (auto p = processes.find(*row.pid); p != processes.end())
                gpu = p->second->gpu, gpuMemory = p->second->gpuMemory;
        } else if (const AppGroup* g = group(row.id)) {
            gpu = g->gpu, gpuMemory = g->gpuMemory;
        }
        if (gpu) j["gpu"] = *gpu;
        if (gpuMemory) j["gpuMemory"] = *gpuMemory;
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

// Who made each group's executable, for --json. The package lookup (dpkg's file lists
// read once, then one checksum per executable) can cost more than the rest of the
// answer together, so it runs on a thread of its own, once per distinct executable,
// starting with the first process read: it overlaps the wait before the second read
// instead of following it. The answer waits for it only up to a short bound; an
// executable not classified by then says "unknown" rather than hold the rows back.
class TrustLookup {
public:
    TrustLookup() : worker_([this] { work(); }) {}
    ~TrustLookup() {
        {
            std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        changed_.notify_all();
        worker_.join();  // after at most the one executable being classified
    }
    TrustLookup(const TrustLookup&) = delete;
    TrustLookup& operator=(const TrustLookup&) = delete;

    // The groups' executables, and with `everyProcess` (the tree's rows) each process's.
    void add(const std::vector<AppGroup>& groups, bool everyProcess) {
        {
            std::lock_guard lock(mutex_);
            auto ask = [this](std::string path) {
                if (!path.empty() && asked_.insert(path).second) pending_.push_back(std::move(path));
            };
            for (const AppGroup& g : groups) {
                ask(groupExecutable(g));
                if (everyProcess)
                    for (const ProcessSample& p : g.processes) ask(p.path);
            }
        }
        changed_.notify_all();
    }
    // Waits until every executable added so far is classified, or `deadline`.
    void waitUntil(std::chrono::steady_clock::time_point deadline) {
        std::unique_lock lock(mutex_);
        changed_.wait_until(lock, deadline, [this] { return known_.size() == asked_.size(); });
    }
    SignatureInfo::Trust trust(const std::string& path) const {
        std::lock_guard lock(mutex_);
        auto found = known_.find(path);
        return found == known_.end() ? SignatureInfo::Trust::unknown : found->second;
    }

private:
    void work() {
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return stopping_ || !pending_.empty(); });
            if (stopping_) return;
            const std::string path = std::move(pending_.front());
            pending_.pop_front();
            lock.unlock();
            const SignatureInfo::Trust trust = SignatureCache::shared().lookupAndWait(path).trust;
            lock.lock();
            known_[path] = trust;
            changed_.notify_all();
        }
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> pending_;
    std::set<std::string> asked_;
    std::map<std::string, SignatureInfo::Trust> known_;
    bool stopping_ = false;
    std::thread worker_;  // last: it starts once the members it uses exist
};

// The columns after the name; the name takes what the terminal's width leaves.
struct Layout {
    size_t name = 34;
    bool pid = true;
    bool kind = true;
    bool memory = true;
    bool power = true;
    bool disk = true;
    bool count = true;
};

Layout layoutFor(size_t width) {
    Layout layout;
    if (width == 0) return layout;  // not a terminal: the full table
    // Always shown: the estimate mark and CPU (2 + 7). The others join, most useful
    // first, while the name keeps at least 12 characters; a 20-column terminal gets
    // the name and CPU alone, never a wrapped row.
    size_t fixed = 9;
    const std::pair<bool*, size_t> optional[] = {{&layout.memory, 10}, {&layout.pid, 8},   {&layout.count, 6},
                                                 {&layout.kind, 11},   {&layout.disk, 11}, {&layout.power, 9}};
    for (const auto& [shown, columnWidth] : optional) {
        if (fixed + columnWidth + 12 <= width)
            fixed += columnWidth;
        else
            *shown = false;
    }
    layout.name = width > fixed ? std::min<size_t>(width - fixed, 60) : 1;
    return layout;
}

std::string rowLine(const Layout& layout, const std::string& name, const std::string& pid, const std::string& kind,
                    const std::string& mark, const std::string& cpu, const std::string& memory,
                    const std::string& power, const std::string& disk, const std::string& count) {
    std::string line = cell(name, layout.name);
    if (layout.pid) line += rightAligned(pid, 8);
    if (layout.kind) line += "  " + cell(kind, 9);
    line += " " + mark + rightAligned(cpu, 7);
    if (layout.memory) line += rightAligned(memory, 10);
    if (layout.power) line += rightAligned(power, 9);
    if (layout.disk) line += rightAligned(disk, 11);
    if (layout.count) line += rightAligned(count, 6);
    // Trailing spaces of a cut row are noise in a pipe.
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line + "\n";
}

std::string printRow(const Layout& layout, const ProcRow& row, const Lookup& lookup, bool child) {
    auto pid = lookup.pid(row);
    // Child rows in the tree show what each process runs, not fourteen times "bash".
    std::string name = row.name;
    if (child) {
        std::string command = pid ? processCommandLine(*pid) : std::string();
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

nlohmann::json rowJSON(const ProcRow& row, const Lookup& lookup, const TrustLookup& trust, bool tree) {
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
    j["commandLine"] = pid ? nlohmann::json(processCommandLine(*pid)) : nlohmann::json(nullptr);
    auto power = lookup.power(row);
    j["power"] = power ? nlohmann::json(*power) : nlohmann::json(nullptr);
    lookup.putGPU(row, j);
    // Who made it: the group's executable, or the process's own.
    std::string executable;
    if (row.pid) {
        if (auto p = lookup.processes.find(*row.pid); p != lookup.processes.end()) executable = p->second->path;
    } else if (auto g = lookup.groups.find(row.id); g != lookup.groups.end()) {
        executable = groupExecutable(*g->second);
    }
    j["trust"] = rawValue(trust.trust(executable));
    if (tree && row.children) {
        j["children"] = nlohmann::json::array();
        for (const auto& c : *row.children) j["children"].push_back(rowJSON(c, lookup, trust, false));
    }
    return j;
}

// apps --pid N: one process in full.
void printProcess(const ProcessSample& p, const AppGroup& group, bool json) {
    const std::string command = processCommandLine(p.pid);
    if (json) {
        nlohmann::json j{{"pid", p.pid},
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
                         {"approximate", p.approximate}};
        if (p.gpu) j["gpu"] = *p.gpu;
        if (p.gpuMemory) j["gpuMemory"] = *p.gpuMemory;
        printJson(j);
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
    const auto primed = std::chrono::steady_clock::now() + primingDelay;
    const ProcessReadResult first = reader->read(true);  // the base for the rates
    std::optional<TrustLookup> trust;
    if (options.json) trust.emplace().add(first.groups, options.tree);
    std::this_thread::sleep_until(primed);
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
        // Groups that started between the reads join the lookup; the answer waits at
        // most a fifth of a second past the priming interval for the classifications.
        trust->add(result.groups, options.tree);
        trust->waitUntil(primed + std::chrono::milliseconds(200));
        for (const auto& row : rows) out.push_back(rowJSON(row, lookup, *trust, options.tree));
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
