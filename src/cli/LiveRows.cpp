#include "cli/LiveRows.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "knowledge/TextCase.h"

namespace qm::cli::live {

namespace {

std::string pidID(int32_t pid) { return "pid:" + std::to_string(pid); }

Row processRow(const ProcessSample& p, const std::string& groupID) {
    Row row;
    row.id = pidID(p.pid);
    row.groupID = groupID;
    row.pid = p.pid;
    row.uid = p.uid;
    row.name = p.name;
    row.cpu = p.cpu;
    row.memory = p.memory;
    row.power = p.power;
    row.disk = p.diskReadRate + p.diskWriteRate;
    row.approximate = p.approximate;
    row.restricted = p.isRestricted;
    return row;
}

Row groupRow(const AppGroup& g) {
    Row row;
    row.id = g.id;
    row.groupID = g.id;
    if (g.processes.size() == 1) {
        row.pid = g.processes.front().pid;
        row.uid = g.processes.front().uid;
    }
    row.name = g.name;
    row.cpu = g.cpu;
    row.memory = g.memory;
    row.power = g.power;
    row.disk = g.diskReadRate + g.diskWriteRate;
    row.count = g.processes.size();
    row.expandable = g.processes.size() >= 2;
    for (const ProcessSample& p : g.processes) {
        row.approximate = row.approximate || p.approximate;
        row.restricted = row.restricted || p.isRestricted;
    }
    return row;
}

// Sorts by the chosen column; ties fall back to CPU, then the name, then the id, so
// rows never swap places between two ticks with equal figures.
struct RowOrder {
    SortColumn column;
    bool ascending;

    static int compare(double a, double b) { return a < b ? -1 : a > b ? 1 : 0; }
    int primary(const Row& a, const Row& b) const {
        switch (column) {
            case SortColumn::pid: return compare(a.pid.value_or(0), b.pid.value_or(0));
            case SortColumn::name: {
                const int folded = lowercased(a.name).compare(lowercased(b.name));
                return folded < 0 ? -1 : folded > 0 ? 1 : 0;
            }
            case SortColumn::cpu: return compare(a.cpu, b.cpu);
            case SortColumn::memory: return compare(static_cast<double>(a.memory), static_cast<double>(b.memory));
            case SortColumn::power: return compare(a.power.value_or(-1), b.power.value_or(-1));
            case SortColumn::disk: return compare(a.disk, b.disk);
        }
        return 0;
    }
    bool operator()(const Row& a, const Row& b) const {
        if (const int c = primary(a, b)) return ascending ? c < 0 : c > 0;
        if (const int c = compare(a.cpu, b.cpu)) return c > 0;
        if (a.name != b.name) return a.name < b.name;
        return a.id < b.id;
    }
};

void appendTree(std::vector<Row>& out, const std::unordered_map<int32_t, std::vector<Row>>& children,
                std::vector<Row>& level, const RowOptions& options, const std::string& indent, bool root) {
    std::sort(level.begin(), level.end(), RowOrder{options.sort, options.ascending});
    for (size_t i = 0; i < level.size(); ++i) {
        Row row = std::move(level[i]);
        const bool last = i + 1 == level.size();
        row.prefix = root ? "" : indent + (last ? "\u2514\u2500 " : "\u251c\u2500 ");
        const auto kids = children.find(*row.pid);
        row.expandable = kids != children.end();
        row.expanded = row.expandable && !options.collapsed.count(row.id);
        const std::string nextIndent = root ? "" : indent + (last ? "   " : "\u2502  ");
        const bool descend = row.expanded;
        out.push_back(std::move(row));
        if (descend) {
            std::vector<Row> next = kids->second;
            appendTree(out, children, next, options, nextIndent, false);
        }
    }
}

}  // namespace

std::vector<Row> rowsFor(const std::vector<AppGroup>& groups, const RowOptions& options,
                         const CommandLineOf& commandLine) {
    const std::string filter = lowercased(options.filter);
    const RowOrder order{options.sort, options.ascending};
    std::vector<Row> rows;

    if (options.tree) {
        // Every process that matches, with its ancestors so it stays in its place.
        std::unordered_map<int32_t, const ProcessSample*> byPID;
        std::unordered_map<int32_t, const std::string*> groupOf;
        for (const AppGroup& g : groups)
            for (const ProcessSample& p : g.processes) {
                byPID[p.pid] = &p;
                groupOf[p.pid] = &g.id;
            }
        std::unordered_set<int32_t> kept;
        for (const auto& [pid, p] : byPID) {
            if (!processMatchesFilter(*p, filter, commandLine)) continue;
            // Walk up; a loop in the parent links (a reused pid) stops at a seen one.
            for (int32_t at = pid; byPID.count(at) && kept.insert(at).second;) at = byPID[at]->ppid;
        }
        std::unordered_map<int32_t, std::vector<Row>> children;
        std::vector<Row> roots;
        for (int32_t pid : kept) {
            const ProcessSample& p = *byPID[pid];
            Row row = processRow(p, *groupOf[pid]);
            if (p.ppid != pid && kept.count(p.ppid))
                children[p.ppid].push_back(std::move(row));
            else
                roots.push_back(std::move(row));
        }
        appendTree(rows, children, roots, options, "", true);
        return rows;
    }

    if (options.allProcesses) {
        for (const AppGroup& g : groups)
            for (const ProcessSample& p : g.processes)
                if (processMatchesFilter(p, filter, commandLine)) rows.push_back(processRow(p, g.id));
        std::sort(rows.begin(), rows.end(), order);
        return rows;
    }

    std::vector<std::pair<Row, const AppGroup*>> kept;
    for (const AppGroup& g : groups) {
        const bool nameMatches = filter.empty() || lowercased(g.name).find(filter) != std::string::npos;
        bool anyProcess = nameMatches;
        for (size_t i = 0; !anyProcess && i < g.processes.size(); ++i)
            anyProcess = processMatchesFilter(g.processes[i], filter, commandLine);
        if (anyProcess) kept.emplace_back(groupRow(g), &g);
    }
    std::sort(kept.begin(), kept.end(), [&](const auto& a, const auto& b) { return order(a.first, b.first); });
    for (auto& [row, group] : kept) {
        row.expanded = row.expandable && options.expanded.count(row.id);
        const bool expanded = row.expanded;
        rows.push_back(std::move(row));
        if (!expanded) continue;
        // The group's processes; under a filter only those that answer it, unless the
        // group's own name did.
        const bool allMembers = filter.empty() || lowercased(group->name).find(filter) != std::string::npos;
        std::vector<Row> members;
        for (const ProcessSample& p : group->processes)
            if (allMembers || processMatchesFilter(p, filter, commandLine)) members.push_back(processRow(p, group->id));
        std::sort(members.begin(), members.end(), order);
        for (size_t i = 0; i < members.size(); ++i) {
            members[i].prefix = i + 1 == members.size() ? "\u2514\u2500 " : "\u251c\u2500 ";
            rows.push_back(std::move(members[i]));
        }
    }
    return rows;
}

std::string_view rawValue(SortColumn column) {
    switch (column) {
        case SortColumn::pid: return "pid";
        case SortColumn::name: return "name";
        case SortColumn::cpu: return "cpu";
        case SortColumn::memory: return "memory";
        case SortColumn::power: return "power";
        case SortColumn::disk: return "disk";
    }
    return "cpu";
}

std::optional<SortColumn> sortColumnFromRaw(std::string_view raw) {
    for (SortColumn c :
         {SortColumn::pid, SortColumn::name, SortColumn::cpu, SortColumn::memory, SortColumn::power, SortColumn::disk})
        if (rawValue(c) == raw) return c;
    return std::nullopt;
}

}  // namespace qm::cli::live
