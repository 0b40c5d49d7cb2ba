#include "shell/AppsTable.h"

#include <algorithm>
#include <unordered_map>

#include "knowledge/TextCase.h"

namespace qm {

namespace {
double figure(const ProcRow& row, AppsTable::Column column) {
    switch (column) {
        case AppsTable::Column::cpu: return row.cpu;
        case AppsTable::Column::memory: return row.memory;
        case AppsTable::Column::power: return row.power;
        case AppsTable::Column::disk: return row.disk;
    }
    return 0;
}

void sortRows(std::vector<ProcRow>& rows, const std::vector<AppsTable::SortKey>& order) {
    std::stable_sort(rows.begin(), rows.end(), [&](const ProcRow& a, const ProcRow& b) {
        for (const auto& key : order) {
            double x = figure(a, key.column), y = figure(b, key.column);
            if (x != y) return key.ascending ? x < y : x > y;
        }
        return false;
    });
}

ProcRow processRow(const AppGroup& group, const ProcessSample& p) {
    ProcRow row;
    row.id = "pid:" + std::to_string(p.pid);
    row.groupID = group.id;
    row.pid = p.pid;
    row.name = p.name;
    row.kind = group.kind;
    row.cpu = p.cpu;
    row.memory = static_cast<double>(p.memory);
    row.power = p.power.value_or(0);
    row.disk = p.diskReadRate + p.diskWriteRate;
    row.uid = p.uid;
    row.count = 1;
    row.approximate = p.approximate;
    return row;
}
}  // namespace

bool processMatchesFilter(const ProcessSample& process, std::string_view lowerFilter,
                          const CommandLineOf& commandLine) {
    if (lowerFilter.empty()) return true;
    if (lowercased(process.name).find(lowerFilter) != std::string::npos) return true;
    if (std::to_string(process.pid).rfind(lowerFilter, 0) == 0) return true;
    return commandLine && lowercased(commandLine(process.pid)).find(lowerFilter) != std::string::npos;
}

bool AppsTable::matches(Filter filter, ProcessKind kind) {
    switch (filter) {
        case Filter::all: return true;
        case Filter::apps: return kind == ProcessKind::app;
        case Filter::background: return kind == ProcessKind::background;
        case Filter::system: return kind == ProcessKind::system;
    }
    return true;
}

std::vector<ProcRow> AppsTable::rows(const std::vector<AppGroup>& groups) const {
    std::string needle = lowercased(query);
    std::vector<ProcRow> rows;
    for (const auto& group : groups) {
        if (!matches(filter, group.kind)) continue;
        if (!needle.empty()) {
            bool found = lowercased(group.name).find(needle) != std::string::npos;
            for (size_t i = 0; !found && i < group.processes.size(); ++i)
                found = processMatchesFilter(group.processes[i], needle, commandLine);
            if (!found) continue;
        }
        ProcRow row;
        row.id = group.id;
        row.groupID = group.id;
        row.name = group.name;
        row.kind = group.kind;
        row.cpu = group.cpu;
        row.memory = static_cast<double>(group.memory);
        row.power = group.power.value_or(0);
        row.disk = group.diskReadRate + group.diskWriteRate;
        row.count = static_cast<int64_t>(group.processes.size());
        if (group.processes.size() == 1) row.onlyProcess = group.processes.front().pid;
        row.approximate = std::any_of(group.processes.begin(), group.processes.end(),
                                      [](const ProcessSample& p) { return p.approximate; });
        if (!group.processes.empty() &&
            std::all_of(group.processes.begin(), group.processes.end(),
                        [&](const ProcessSample& p) { return p.uid == group.processes.front().uid; }))
            row.uid = group.processes.front().uid;
        if (group.processes.size() >= 2) {
            std::vector<ProcRow> children;
            for (const auto& p : group.processes) children.push_back(processRow(group, p));
            sortRows(children, sortOrder);
            row.children = std::move(children);
        }
        rows.push_back(std::move(row));
    }
    sortRows(rows, sortOrder);
    return rows;
}

std::vector<ProcRow> inShownOrder(std::vector<ProcRow> fresh, const std::vector<ProcRow>& shown) {
    std::unordered_map<std::string, size_t> place;
    for (size_t i = 0; i < shown.size(); ++i) place.emplace(shown[i].id, i);
    for (ProcRow& row : fresh) {
        if (!row.children) continue;
        auto before = place.find(row.id);
        if (before != place.end() && shown[before->second].children)
            row.children = inShownOrder(std::move(*row.children), *shown[before->second].children);
    }
    // Rows on screen first, by their old place; new rows after them, still sorted.
    std::stable_sort(fresh.begin(), fresh.end(), [&](const ProcRow& a, const ProcRow& b) {
        auto x = place.find(a.id), y = place.find(b.id);
        const size_t unseen = shown.size();
        return (x == place.end() ? unseen : x->second) < (y == place.end() ? unseen : y->second);
    });
    return fresh;
}

std::string_view rawValue(AppsTable::Filter filter) {
    switch (filter) {
        case AppsTable::Filter::all: return "all";
        case AppsTable::Filter::apps: return "apps";
        case AppsTable::Filter::background: return "background";
        case AppsTable::Filter::system: return "system";
    }
    return "all";
}

std::optional<AppsTable::Filter> appsFilterFromRaw(std::string_view raw) {
    for (auto f : AppsTable::allFilters)
        if (rawValue(f) == raw) return f;
    return std::nullopt;
}

std::string label(AppsTable::Filter filter) {
    switch (filter) {
        case AppsTable::Filter::all: return "All";  // Filter: show all apps and processes
        case AppsTable::Filter::apps: return "Apps";
        case AppsTable::Filter::background: return "Background";
        case AppsTable::Filter::system: return systemLabel();
    }
    return "All";
}

std::string_view rawValue(AppsTable::Column column) {
    switch (column) {
        case AppsTable::Column::cpu: return "cpu";
        case AppsTable::Column::memory: return "memory";
        case AppsTable::Column::power: return "power";
        case AppsTable::Column::disk: return "disk";
    }
    return "cpu";
}

std::optional<AppsTable::Column> appsColumnFromRaw(std::string_view raw) {
    for (auto c :
         {AppsTable::Column::cpu, AppsTable::Column::memory, AppsTable::Column::power, AppsTable::Column::disk})
        if (rawValue(c) == raw) return c;
    return std::nullopt;
}

std::string appsText::countLine(int64_t processes, int64_t rows) {
    // One of either is counted in the singular ("1 process", "1 row").
    return std::to_string(processes) + (processes == 1 ? " process grouped into " : " processes grouped into ") +
           std::to_string(rows) + (rows == 1 ? " row." : " rows.") + " Helpers live under the app that owns them.";
}

}  // namespace qm
