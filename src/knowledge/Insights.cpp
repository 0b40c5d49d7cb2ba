#include "knowledge/Insights.h"

#include <algorithm>
#include <cmath>

#include "fmt/Fmt.h"
#include "knowledge/Localized.h"
#include "processes/KernelGroup.h"

namespace qm::Insights {

namespace {

// One watt weighs as much as twenty percent of a core when ranking apps.
constexpr double kWattWeight = 20;

double score(const AppGroup& group) { return group.cpu + kWattWeight * group.power.value_or(0); }

bool isHot(ThermalState state) { return state == ThermalState::serious || state == ThermalState::critical; }

int64_t logicalCores(const Snapshot& snapshot) { return std::max<int64_t>(1, int64_t(snapshot.cpu.perCore.size())); }

}  // namespace

std::string levelSymbol(int level) {
    if (level <= 0) return "checkmark.circle.fill";
    if (level == 1) return "exclamationmark.circle.fill";
    return "exclamationmark.triangle.fill";
}

const AppGroup* heaviest(const Snapshot& snapshot) {
    const AppGroup* best = nullptr;
    for (const AppGroup& group : snapshot.groups) {
        if (isKernelGroup(group.id)) continue;
        // Strictly greater: on equal scores the earlier group stays.
        if (!best || score(group) > score(*best)) best = &group;
    }
    return best;
}

const AppGroup* biggest(const Snapshot& snapshot) {
    const AppGroup* best = nullptr;
    for (const AppGroup& group : snapshot.groups)
        if (!best || group.memory > best->memory) best = &group;
    return best;
}

Status status(const Snapshot& snapshot) {
    if (snapshot.groups.empty()) return {"Taking a first look…", "Measuring your Mac for a moment.", 0};

    const AppGroup* top = heaviest(snapshot);
    const AppGroup* big = biggest(snapshot);
    const PressureLevel pressure = snapshot.memory.pressureLevel;

    if (isHot(snapshot.thermal.state)) {
        if (top)
            return {"Your Mac is running hot.",
                    fill("%1$@ is working hardest (%2$@ CPU). macOS is slowing down to cool off.",
                         {top->name, Fmt::percent(top->cpu)}),
                    2};
        return {"Your Mac is running hot.", "macOS is slowing down to cool off.", 2};
    }

    if (pressure == PressureLevel::critical)
        return {"Memory is under heavy pressure.",
                big ? fill("%1$@ uses %2$@. Quitting apps you're not using will help.",
                           {big->name, Fmt::bytes(double(big->memory))})
                    : std::string(),
                2};

    const int64_t cores = logicalCores(snapshot);
    if (top && top->cpu > double(cores) * 100 * 0.5) {
        const auto inUse = int64_t(std::llround(top->cpu / 100));
        return {fill("%@ is keeping your Mac busy.", {top->name}),
                fill("It's using %1$@ CPU, about %2$lld of your %3$lld cores.",
                     {Fmt::percent(top->cpu), std::to_string(inUse), std::to_string(cores)}),
                1};
    }

    if (pressure == PressureLevel::warning)
        return {"Memory is getting tight.",
                big ? fill("%1$@ is the biggest user at %2$@.", {big->name, Fmt::bytes(double(big->memory))})
                    : std::string(),
                1};

    const double total = snapshot.cpu.total;
    if (total > 60 && top)
        return {"Your Mac is working hard.", fill("%@ is the busiest app right now.", {top->name}), 1};

    // With total CPU above 60 and no heaviest group this rule does not apply either.
    if (total <= 60 && top && top->cpu > 15)
        return {"All good.",
                fill("%1$@ is your busiest app right now at %2$@ CPU.", {top->name, Fmt::percent(top->cpu)}), 0};

    if (big)
        return {"All good. Your Mac is relaxed.",
                fill("Nothing is working hard. %@ holds the most memory.", {big->name}), 0};
    return {"All good. Your Mac is relaxed.", "Nothing is working hard.", 0};
}

std::string_view rawValue(Tone tone) {
    switch (tone) {
        case Tone::good: return "good";
        case Tone::warn: return "warn";
        case Tone::bad: return "bad";
        case Tone::secondary: break;
    }
    return "secondary";
}

ThermalLabel thermalLabel(ThermalState state) {
    switch (state) {
        case ThermalState::nominal:
            return {"Cool", "Running at full speed with plenty of thermal headroom.", Tone::good};
        case ThermalState::fair: return {"Warm", "Warmer than usual, but still at full speed.", Tone::warn};
        case ThermalState::serious:
            return {"Hot", "macOS is slowing the CPU to cool down. Fans may be loud.", Tone::bad};
        case ThermalState::critical:
            return {"Very hot", "Heavy throttling. Close demanding apps and give your Mac air.", Tone::bad};
    }
    return {"Unknown", "", Tone::secondary};
}

ThermalLabel thermalLabel(const ThermalStats& stats) {
    if (!stats.hasSensors && stats.state == ThermalState::nominal)
        return {"No temperature sensors", "", Tone::secondary};
    return thermalLabel(stats.state);
}

std::string pressureExplanation(PressureLevel level) {
    switch (level) {
        case PressureLevel::normal:
            return "macOS has room to spare. High \"used\" memory is fine: macOS keeps files "
                   "cached so apps open faster.";
        case PressureLevel::warning: return "macOS is compressing memory to make room. You may notice brief slowdowns.";
        case PressureLevel::critical:
            return "macOS is swapping memory to the SSD. Apps will feel sluggish until you free "
                   "some up.";
    }
    return "";
}

}  // namespace qm::Insights
