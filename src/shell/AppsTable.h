// The rows of the apps table: one row per app group, its processes as child rows when
// it has two or more, narrowed by kind and search text and sorted by any figure.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

// A process's command line ("" when unknown); callers cache what they read.
using CommandLineOf = std::function<std::string(int32_t pid)>;

// Whether a process answers a filter: the lower-cased filter occurs in its name or
// command line, or the filter is the start of its PID. An empty filter matches all.
// The command line is read only when the name and PID do not already match.
bool processMatchesFilter(const ProcessSample& process, std::string_view lowerFilter, const CommandLineOf& commandLine);

struct ProcRow {
    std::string id;                      // the group's id, or "pid:<pid>" for a process row
    std::string groupID;                 // the group the row belongs to
    std::optional<int32_t> pid;          // a process row's process
    std::optional<int32_t> onlyProcess;  // the one process of a one-process group, for its PID column
    std::string name;
    ProcessKind kind = ProcessKind::background;
    double cpu = 0;               // percent of one core
    double memory = 0;            // bytes
    double power = 0;             // watts (0 when unknown)
    std::optional<uint32_t> uid;  // the owner: a process's, or a group's when all its processes share one
    double disk = 0;              // bytes per second read plus written
    int64_t count = 1;            // processes in the group
    bool approximate = false;
    std::optional<std::vector<ProcRow>> children;  // only for groups of two or more
};

class AppsTable {
public:
    enum class Filter { all, apps, background, system };
    static constexpr Filter allFilters[] = {Filter::all, Filter::apps, Filter::background, Filter::system};

    enum class Column { cpu, memory, power, disk };
    struct SortKey {
        Column column = Column::cpu;
        bool ascending = false;
    };

    Filter filter = Filter::all;
    std::string query;          // matched against names, PIDs and command lines
    CommandLineOf commandLine;  // where command lines come from; none: names and PIDs only
    std::vector<SortKey> sortOrder{SortKey{Column::cpu, false}};

    // The table for one snapshot's groups.
    std::vector<ProcRow> rows(const std::vector<AppGroup>& groups) const;

    static bool matches(Filter filter, ProcessKind kind);
};

// Fresh rows in the order of the rows on screen: rows still present keep their places
// (a group's processes too), new ones follow in their sorted order, vanished ones go.
// While the pointer rests on the table it re-sorts nothing, so a click lands on the row
// it was aimed at; the figures still change.
std::vector<ProcRow> inShownOrder(std::vector<ProcRow> fresh, const std::vector<ProcRow>& shown);

std::string_view rawValue(AppsTable::Filter filter);  // "all", "apps", "background", "system"
std::optional<AppsTable::Filter> appsFilterFromRaw(std::string_view raw);
std::string label(AppsTable::Filter filter);  // "All", "Apps", "Background", systemLabel()

std::string_view rawValue(AppsTable::Column column);  // "cpu", "memory", "power", "disk"
std::optional<AppsTable::Column> appsColumnFromRaw(std::string_view raw);

// Texts of the apps screen.
namespace appsText {
inline constexpr const char* title = "Apps & Processes";
inline constexpr const char* searchPlaceholder = "Filter apps and processes";
inline constexpr const char* estimatedHelp = "Estimated. Install the helper for exact figures.";
inline constexpr const char* estimatedNoticeTitle = "Exact system figures";
inline constexpr const char* estimatedNotice =
    "System processes like WindowServer are estimated. Allow the Quillmere helper for exact numbers.";
inline constexpr const char* forceQuitTitle = "Force Quit Process";
inline constexpr const char* forceQuitWarning = "Unsaved changes in this app will be lost.";
// "<n> processes grouped into <m> rows. Helpers live under the app that owns them."
std::string countLine(int64_t processes, int64_t rows);
}  // namespace appsText

}  // namespace qm
