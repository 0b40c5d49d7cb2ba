// Plain-language verdicts drawn from one snapshot: the status line at the top of
// the dashboard, the heaviest app, the thermal state's label and what the memory
// pressure level means. Pure functions: the same snapshot always gives the same texts.
#pragma once

#include <string>
#include <string_view>

#include "core/Snapshot.h"

namespace qm::Insights {

struct Status {
    std::string title;
    std::string detail;  // may be empty
    int level = 0;       // 0 fine, 1 attention, 2 alert
    bool operator==(const Status&) const = default;
};

// The system symbol the status header shows for a level (0, 1, 2; anything else is
// treated as the nearest level).
std::string levelSymbol(int level);

// The one-line verdict on the whole machine. The first rule that applies wins, in
// this order: no groups yet, heat, critical memory pressure, one app busy on more
// than half of all cores, memory warning, high total CPU, a busy app, relaxed.
Status status(const Snapshot& snapshot);

// The group working hardest: the highest cpu + 20 × power (watts; absent counts as
// 0), so one watt weighs like a fifth of a core. The kernel's own group
// ("proc:kernel_task", on Linux "proc:kernel") never counts; ties go to the earlier
// group. Null when there is no candidate. The pointer points into `snapshot`.
const AppGroup* heaviest(const Snapshot& snapshot);

// The group holding the most memory over all groups (kernel included), first on
// ties; null when there are no groups. The pointer points into `snapshot`.
const AppGroup* biggest(const Snapshot& snapshot);

// The colour a verdict is drawn in.
enum class Tone { good, warn, bad, secondary };
std::string_view rawValue(Tone tone);  // "good", "warn", "bad", "secondary"

struct ThermalLabel {
    std::string label;
    std::string detail;  // empty for an unknown state
    Tone tone = Tone::secondary;
    bool operator==(const ThermalLabel&) const = default;
};

// "Cool", "Warm", "Hot", "Very hot", or "Unknown" for a value outside the four states.
ThermalLabel thermalLabel(ThermalState state);
// The same for a whole reading, except that a machine without temperature sensors is
// never called cool: "No temperature sensors" with no detail (nothing was measured to
// explain), unless throttling raised its state.
ThermalLabel thermalLabel(const ThermalStats& stats);

// One sentence on what the memory pressure level means for the user.
std::string pressureExplanation(PressureLevel level);

}  // namespace qm::Insights
