// The rows of the terminal view's list, decided without a terminal: apps (groups,
// expandable into their processes), every process, or the parent/child tree;
// narrowed by a filter on name, PID or command line and sorted by any column.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/Snapshot.h"
#include "shell/AppsTable.h"

namespace qm::cli::live {

enum class SortColumn { pid, name, cpu, memory, power, disk };

struct Row {
    std::string id;       // the group's id, or "pid:<pid>" for a process
    std::string groupID;  // the group the row belongs to
    std::optional<int32_t> pid;
    uint32_t uid = 0;
    std::string name;
    std::string prefix;  // indentation or tree branches drawn before the name
    double cpu = 0;
    uint64_t memory = 0;
    std::optional<double> power;
    double disk = 0;
    size_t count = 1;         // processes behind the row
    bool expandable = false;  // a group of two or more, or a tree node with children
    bool expanded = false;
    bool approximate = false;
    bool restricted = false;
};

struct RowOptions {
    bool allProcesses = false;  // every process instead of apps
    bool tree = false;          // processes under their parents (implies every process)
    SortColumn sort = SortColumn::cpu;
    bool ascending = false;
    std::string filter;               // matched against name, PID and command line
    std::set<std::string> expanded;   // group ids shown with their processes
    std::set<std::string> collapsed;  // tree nodes ("pid:<pid>") whose children are hidden
};

using qm::CommandLineOf;

std::vector<Row> rowsFor(const std::vector<AppGroup>& groups, const RowOptions& options,
                         const CommandLineOf& commandLine);

std::string_view rawValue(SortColumn column);  // "pid", "name", "cpu", "memory", "power", "disk"
std::optional<SortColumn> sortColumnFromRaw(std::string_view raw);

}  // namespace qm::cli::live
