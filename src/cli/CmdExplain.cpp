// quillmere explain NAME: what a running app, group or process is, from the built-in
// library: what it does, why it can run high, what to do and whether it is safe to quit.
#include <memory>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "cli/Output.h"
#include "cli/ProcessDetails.h"
#include "core/Platform.h"
#include "fmt/Fmt.h"
#include "knowledge/ProcessLibrary.h"
#include "knowledge/TextCase.h"
#include "processes/ProcessCommandLine.h"
#include "processes/SignatureCache.h"

namespace qm::cli::explain_command {
namespace {

// The human-readable answer, printed at once in this platform's words.
std::ostringstream text;

struct Found {
    const ProcessEntry* entry = nullptr;
    std::optional<AppGroup> group;         // the running group NAME named or belongs to
    bool namedGroup = false;               // NAME is that group's id or name, not one of its processes
    std::optional<ProcessSample> process;  // the process NAME named by its PID
};

// A PID: the process with it, and the group it runs in.
bool findByPid(const std::vector<AppGroup>& groups, const std::string& name, Found& found) {
    if (name.empty() || name.size() > 10 || name.find_first_not_of("0123456789") != std::string::npos) return false;
    const long long pid = std::stoll(name);
    for (const AppGroup& g : groups)
        for (const ProcessSample& p : g.processes)
            if (p.pid == pid) {
                found.group = g;
                found.process = p;
                return true;
            }
    return false;
}

// A running group by its id or name, or else the group of a process with that name;
// the exact spelling first, then without regard to case.
void findRunning(const std::vector<AppGroup>& groups, const std::string& name, Found& found) {
    const std::string lower = lowercased(name);
    for (bool folded : {false, true}) {
        auto same = [&](const std::string& candidate) {
            return folded ? lowercased(candidate) == lower : candidate == name;
        };
        for (const AppGroup& g : groups)
            if (same(g.id) || same(g.name)) {
                found.group = g;
                found.namedGroup = true;
                return;
            }
        for (const AppGroup& g : groups)
            for (const ProcessSample& p : g.processes)
                if (same(p.name)) {
                    found.group = g;
                    return;
                }
    }
}

Found find(const ProcessLibrary& library, const std::string& name) {
    Found found;
    if (auto source = Platform::current().processes()) {
        const auto groups = source->read(true).groups;
        if (findByPid(groups, name, found)) {
            // The process by its own name first, then the app it belongs to.
            found.entry = library.lookup(found.process->name, true);
            if (!found.entry) found.entry = library.lookup(*found.group);
            return found;
        }
        findRunning(groups, name, found);
    }

    if (found.namedGroup) {
        // A running group is explained as the apps table does: apps never by a pattern.
        found.entry = library.lookup(*found.group);
        if (!found.entry) found.entry = library.entry(name);
        return found;
    }
    // A process name (or a family of names), then a library id, then the running
    // group the process belongs to.
    found.entry = library.lookup(name, true);
    if (!found.entry) found.entry = library.entry(name);
    if (!found.entry && found.group) found.entry = library.lookup(*found.group);
    return found;
}

std::string verdict(ProcessEntry::Safety safety) {
    switch (safety) {
        case ProcessEntry::Safety::safe: return "Yes";
        case ProcessEntry::Safety::caution: return "With care";
        case ProcessEntry::Safety::unsafe: return "No";
        case ProcessEntry::Safety::unknown: break;
    }
    return "Not known";
}

void printList(const char* heading, const std::vector<std::string>& lines) {
    if (lines.empty()) return;
    text << '\n' << heading << '\n';
    for (const std::string& line : lines) text << "  • " << line << '\n';
}

std::string runningLine(const Found& found) {
    const AppGroup& group = *found.group;
    std::string line = "Running now: ";
    if (found.process) {
        const std::string command = processCommandLine(found.process->pid);
        line += "pid " + std::to_string(found.process->pid) + " (" + (command.empty() ? found.process->name : command) +
                ") in " + group.name + ", ";
    } else {
        line += group.name + ", ";
    }
    line += std::to_string(group.processes.size()) + (group.processes.size() == 1 ? " process" : " processes") + ", " +
            Fmt::bytes(double(group.memory)) + " memory\n";
    // The badge, as the explanation panel shows it.
    SignatureInfo signature = SignatureCache::shared().lookupAndWait(groupExecutable(group));
    return line + "Made by: " + signature.title() + ". " + signature.explanation() + "\n";
}

void printText(const ProcessEntry& e, const Found& found) {
    text << e.title;
    if (e.vendor) text << " (" << *e.vendor << ')';
    text << '\n' << e.oneLiner << '\n';
    if (e.summary) text << '\n' << *e.summary << '\n';
    if (found.group) text << '\n' << runningLine(found);
    printList("Why it can run high:", e.whyHigh);
    printList("What to do:", e.whatToDo);
    text << "\nSafe to quit: " << verdict(e.safety());
    if (e.safeToQuitNote) text << ". " << *e.safeToQuitNote;
    text << '\n';
    if (e.typical && (e.typical->cpu || e.typical->memory)) {
        text << "Typical:";
        if (e.typical->cpu) text << " CPU " << *e.typical->cpu << (e.typical->memory ? ";" : "");
        if (e.typical->memory) text << " memory " << *e.typical->memory;
        text << '\n';
    }
    text << "More: " << e.webURL() << '\n';
}

nlohmann::json toJSON(const std::string& name, const Found& found) {
    nlohmann::json out = {{"name", name}, {"found", found.entry != nullptr}};
    if (found.process)
        out["process"] = {{"pid", found.process->pid},
                          {"name", found.process->name},
                          {"commandLine", processCommandLine(found.process->pid)}};
    if (found.group) {
        SignatureInfo signature = SignatureCache::shared().lookupAndWait(groupExecutable(*found.group));
        out["running"] = {{"group", found.group->id},
                          {"name", found.group->name},
                          {"processes", found.group->processes.size()},
                          {"memory", found.group->memory},
                          {"trust", rawValue(signature.trust)},
                          {"trustTitle", signature.title()}};
    }
    if (!found.entry) return out;
    const ProcessEntry& e = *found.entry;
    auto optional = [](const std::optional<std::string>& v) { return v ? nlohmann::json(*v) : nlohmann::json(); };
    out["entry"] = {
        {"id", e.id},
        {"title", e.title},
        {"vendor", optional(e.vendor)},
        {"category", optional(e.category)},
        {"oneLiner", e.oneLiner},
        {"summary", optional(e.summary)},
        {"whyHigh", e.whyHigh},
        {"whatToDo", e.whatToDo},
        {"safeToQuit", rawValue(e.safety())},
        {"safeToQuitNote", optional(e.safeToQuitNote)},
        {"typical",
         {{"cpu", e.typical ? optional(e.typical->cpu) : nlohmann::json()},
          {"memory", e.typical ? optional(e.typical->memory) : nlohmann::json()}}},
        {"webURL", e.webURL()},
    };
    return out;
}

void run(const std::string& name, bool json) {
#ifdef QUILLMERE_DATADIR
    ProcessLibrary::setInstalledDataDirectory(QUILLMERE_DATADIR);
#endif
    const ProcessLibrary& library = ProcessLibrary::shared();
    const Found found = find(library, name);
    if (json) {
        // Invalid UTF-8 in NAME is replaced rather than refused.
        printJson(toJSON(name, found));
    } else if (found.entry) {
        printText(*found.entry, found);
    } else if (found.group) {
        // Running, just not something the library knows: say what can be said.
        text << (found.process ? found.process->name : found.group->name) << " is not in the library.\n"
             << runningLine(found);
    } else {
        text << '"' << name << "\" is not in the library";
        if (library.count() == 0) text << " (the process library is empty: its file is missing or could not be read)";
        text << ".\n";
    }
    print(text.str());
    if (!found.entry && !found.group) exitWith(1);
}

RegisterCommand registration("explain", [](CLI::App& app) {
    auto name = std::make_shared<std::string>();
    auto json = std::make_shared<bool>(false);
    auto* cmd =
        app.add_subcommand("explain", "Explain a running app or process (by name or PID) from the built-in library");
    cmd->add_option("name", *name, "A PID, a process or app name, a group key (proc:NAME) or a library id")->required();
    cmd->add_flag("--json", *json, "Print the entry as one JSON object");
    cmd->callback([name, json] { run(*name, *json); });
});

}  // namespace
}  // namespace qm::cli::explain_command
