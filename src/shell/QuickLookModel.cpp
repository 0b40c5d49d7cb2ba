#include "shell/QuickLookModel.h"

#include <algorithm>

#include "fmt/Fmt.h"
#include "fmt/PlatformWording.h"
#include "shell/MenuBarLabel.h"

namespace qm {

std::vector<QuickLookRow> QuickLookModel::figures(const Snapshot& snapshot) {
    const MemoryStats& memory = snapshot.memory;
    std::string used = Fmt::bytes(static_cast<double>(memory.used()));
    if (memory.total > 0) used += " of " + Fmt::bytes(static_cast<double>(memory.total));
    return {
        {"CPU", Fmt::percent(snapshot.cpu.total), {}, 0},
        {"Memory", used, {}, memory.pressureLevel == PressureLevel::critical ? 2 : 0},
        {"Power", Fmt::watts(menuBarPower(snapshot)), {}, 0},
    };
}

std::vector<QuickLookRow> QuickLookModel::busiest(const Snapshot& snapshot, size_t count) {
    std::vector<const AppGroup*> groups;
    for (const AppGroup& group : snapshot.groups)
        if (group.id != "proc:kernel_task" && group.id != "proc:kernel") groups.push_back(&group);
    std::stable_sort(groups.begin(), groups.end(),
                     [](const AppGroup* a, const AppGroup* b) { return a->cpu > b->cpu; });
    if (groups.size() > count) groups.resize(count);
    std::vector<QuickLookRow> rows;
    for (const AppGroup* group : groups) rows.push_back({group->name, Fmt::percent(group->cpu), group->id, 0});
    return rows;
}

std::vector<QuickLookRow> QuickLookModel::lastEvents(const std::vector<TimelineEvent>& newestFirst, size_t count) {
    std::vector<QuickLookRow> rows;
    for (const TimelineEvent& event : newestFirst) {
        if (rows.size() == count) break;
        rows.push_back({forThisPlatform(event.title), Fmt::time(event.date), event.appKey.value_or(""),
                        static_cast<int>(std::clamp<int64_t>(event.severity, 0, 2))});
    }
    return rows;
}

}  // namespace qm
