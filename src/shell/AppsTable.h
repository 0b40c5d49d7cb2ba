// The rows of the apps table: one row per app group, its processes as child rows when
// it has two or more, narrowed by kind and search text and sorted by any figure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

struct ProcRow {
    std::string id;       // the group's id, or "pid:<pid>" for a process row
    std::string groupID;  // the group the row belongs to
    std::optional<int32_t> pid;
    std::string name;
    ProcessKind kind = ProcessKind::background;
    double cpu = 0;     // percent of one core
    double memory = 0;  // bytes
    double power = 0;   // watts (0 when unknown)
    double disk = 0;    // bytes per second read plus written
    int64_t count = 1;  // processes in the group
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
    std::string query;
    std::vector<SortKey> sortOrder{SortKey{Column::cpu, false}};

    // The table for one snapshot's groups.
    std::vector<ProcRow> rows(const std::vector<AppGroup>& groups) const;

    static bool matches(Filter filter, ProcessKind kind);
};

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
