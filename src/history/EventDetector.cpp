#include "history/EventDetector.h"

#include "core/DefaultsRanges.h"

#include <algorithm>
#include <limits>
#include <set>

#include "fmt/Fmt.h"
#include "fmt/PlatformWording.h"
#include "processes/KernelGroup.h"

namespace qm {

namespace {

constexpr double highCPUCooldown = 2700;           // 45 minutes between reports for one app
constexpr double memoryCheckPeriod = 60;           // the growth rule samples once a minute
constexpr double memoryWindow = 2700;              // trails cover the last 45 minutes
constexpr double memoryMinSpan = 1500;             // at least 25 minutes of trail
constexpr double memoryFloor = 1'000'000'000;      // only apps holding over 1 GB
constexpr double memoryGrowthMin = 1'500'000'000;  // and grown by more than 1.5 GB
constexpr double leakCooldown = 10800;             // 3 hours
constexpr double pressureCooldown = 1800;          // 30 minutes per level; critical is never held back
constexpr double thermalCooldown = 1200;           // 20 minutes
constexpr double indexingLoadFloor = 60;           // percent of one core
constexpr double indexingMinStretch = 90;
constexpr double indexingCooldown = 7200;  // 2 hours
constexpr double swapFloorGB = 4.0;
constexpr double swapStepGB = 2.0;
constexpr double busyFloor = 1;  // percent of one core: an idle namesake is never named

constexpr double distantPast = -std::numeric_limits<double>::infinity();

Date lastOr(const std::map<std::string, Date>& reported, const std::string& id) {
    auto it = reported.find(id);
    return it == reported.end() ? distantPast : it->second;
}

// A number setting, kept within its range; a missing value or one of another type
// gives the fallback.
double numberSetting(const Defaults& defaults, const std::string& key, double fallback) {
    auto value = defaults.value(key);
    if (!value) return fallback;
    if (auto* d = std::get_if<double>(&*value)) return clampToRange(key, *d);
    if (auto* i = std::get_if<int64_t>(&*value)) return clampToRange(key, static_cast<double>(*i));
    return fallback;
}

// The first group with the largest value of `field` (earlier wins a tie).
template <typename Field>
const AppGroup* largest(const std::vector<AppGroup>& groups, Field field) {
    const AppGroup* best = nullptr;
    for (const AppGroup& g : groups)
        if (best == nullptr || field(g) > field(*best)) best = &g;
    return best;
}

TimelineEvent makeEvent(Date now, EventKind kind, int64_t severity, const std::string& title, const std::string& detail,
                        const AppGroup* app = nullptr) {
    TimelineEvent e;
    e.id = 0;  // the history store assigns the real id
    e.date = now;
    e.kind = kind;
    e.severity = severity;
    // Stored and notified in this platform's words: the history outlives the process
    // that wrote it, and every reader shows the texts as they are.
    e.title = forThisPlatform(title);
    e.detail = forThisPlatform(detail);
    if (app != nullptr) {
        e.appKey = app->id;
        e.appName = app->name;
    }
    return e;
}

// The processes an event is about: the fewest, largest share first, that together
// make up most of the group's share (so a busy process is named and its idle
// namesakes are not), none below `floor`, at most a handful.
std::vector<ProcessRef> mainContributors(std::vector<std::pair<double, ProcessRef>> shares, double floor) {
    constexpr double mostOf = 0.8;
    constexpr size_t atMost = 16;
    std::stable_sort(shares.begin(), shares.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    double total = 0;
    for (const auto& share : shares) total += std::max(0.0, share.first);
    std::vector<ProcessRef> chosen;
    double covered = 0;
    for (const auto& [share, ref] : shares) {
        if (share < floor || covered >= mostOf * total || chosen.size() == atMost) break;
        chosen.push_back(ref);
        covered += share;
    }
    return chosen;
}

// The kernel cuts process names to 15 characters, so "tracker-miner-fs-3" may be
// grouped as "proc:tracker-miner-f".
bool isProcessGroup(const std::string& id, const std::string& name) {
    constexpr size_t commLength = 15;
    if (id == "proc:" + name) return true;
    return name.size() > commLength && id == "proc:" + name.substr(0, commLength);
}

std::string joinNames(const std::vector<std::string>& names) {
    std::string text;
    for (size_t i = 0; i < names.size(); ++i) {
        if (i > 0) text += (i + 1 == names.size()) ? " and " : ", ";
        text += names[i];
    }
    return text;
}

}  // namespace

IndexerSet IndexerSet::spotlight() { return {{"mds_stores", "mdworker_shared", "corespotlightd"}, true}; }

IndexerSet IndexerSet::linuxDesktop() {
    return {{"tracker-miner-fs-3", "localsearch", "baloo_file", "baloo_file_extractor"}, false};
}

IndexerSet IndexerSet::forThisPlatform() {
#ifdef __APPLE__
    return spotlight();
#else
    return linuxDesktop();
#endif
}

EventDetector::EventDetector(Defaults* defaults, const Clock& clock, IndexerSet indexers)
    : defaults_(defaults), clock_(clock), indexers_(std::move(indexers)) {}

Defaults& EventDetector::settings() const { return defaults_ != nullptr ? *defaults_ : Defaults::shared(); }

bool EventDetector::isMostlyRising(const std::vector<MemorySample>& trail) {
    if (trail.size() < 5) return false;
    size_t steps = trail.size() - 1;
    size_t notDown = 0;
    for (size_t i = 1; i < trail.size(); ++i)
        if (trail[i].second >= trail[i - 1].second) ++notDown;
    return static_cast<double>(notDown) >= 0.75 * static_cast<double>(steps);
}

std::vector<TimelineEvent> EventDetector::process(const Snapshot& snapshot) {
    Date now = clock_.now();
    std::vector<TimelineEvent> events;
    if (!primed) {
        // Whatever is already the case at launch is not news.
        primed = true;
        lastPressure = snapshot.memory.pressureLevel;
        lastThermal = static_cast<int>(snapshot.thermal.state);
        lastSwapGB = static_cast<double>(snapshot.memory.swapUsed) / 1073741824.0;
        if (snapshot.battery.present)
            lastOnAC = snapshot.battery.onAC;
        else
            lastOnAC.reset();
        return events;
    }

    const AppGroup* busiest = largest(snapshot.groups, [](const AppGroup& g) { return g.cpu; });
    const AppGroup* biggest = largest(snapshot.groups, [](const AppGroup& g) { return g.memory; });

    checkHighCPU(snapshot, now, events);
    checkMemoryGrowth(snapshot, now, events);
    checkPressure(snapshot, biggest, now, events);
    checkThermal(snapshot, busiest, now, events);
    checkIndexing(snapshot, now, events);
    checkSwap(snapshot, now, events);
    checkPower(snapshot, now, events);
    return events;
}

void EventDetector::checkHighCPU(const Snapshot& s, Date now, std::vector<TimelineEvent>& out) {
    const Defaults& defaults = settings();
    double threshold = numberSetting(defaults, "alert.highCPU.threshold", 90.0);
    double duration = numberSetting(defaults, "alert.highCPU.minutes", 3.0) * 60;

    std::set<std::string> seen;
    for (const AppGroup& g : s.groups) {
        if (g.cpu < threshold || isKernelGroup(g.id)) continue;  // the kernel is never blamed
        seen.insert(g.id);
        Date since = highCPUSince.try_emplace(g.id, now).first->second;
        double elapsed = now - since;
        if (elapsed < duration) continue;
        if (now - lastOr(highCPUReported, g.id) <= highCPUCooldown) continue;
        highCPUReported[g.id] = now;
        auto minutes = static_cast<int64_t>(elapsed / 60);
        // A battery is named only on a machine that has one.
        const char* cost =
            s.battery.present ? " min. This drains battery and heats your Mac." : " min. This heats your Mac.";
        out.push_back(makeEvent(now, EventKind::highCPU, 2, g.name + " is using a lot of CPU",
                                Fmt::percent(g.cpu) + " of a core for " + std::to_string(minutes) + cost, &g));
        std::vector<std::pair<double, ProcessRef>> shares;
        for (const ProcessSample& p : g.processes) shares.emplace_back(p.cpu, refOf(p));
        out.back().processes = mainContributors(std::move(shares), busyFloor);
    }
    // A stretch restarts as soon as the app drops below the threshold.
    std::erase_if(highCPUSince, [&](const auto& entry) { return !seen.contains(entry.first); });
}

void EventDetector::checkMemoryGrowth(const Snapshot& s, Date now, std::vector<TimelineEvent>& out) {
    if (lastMemoryCheck && now - *lastMemoryCheck < memoryCheckPeriod) return;
    lastMemoryCheck = now;

    std::set<std::string> seen;
    for (const AppGroup& g : s.groups) {
        if (static_cast<double>(g.memory) <= memoryFloor) continue;
        seen.insert(g.id);
        auto& trail = memoryTrail[g.id];
        trail.emplace_back(now, g.memory);
        // Each process's memory when the trail first saw it, to tell which of them grew.
        auto& startMemory = processMemoryAtStart[g.id];
        for (const ProcessSample& p : g.processes) startMemory.try_emplace({p.pid, p.startTime}, p.memory);
        std::erase_if(trail, [&](const MemorySample& m) { return now - m.first > memoryWindow; });
        const MemorySample& first = trail.front();

        // Over 1 GB, 25 minutes of trail, more than 1.5 GB of growth, rising three steps
        // in four: a one-off jump is not a leak.
        double span = now - first.first;
        if (span < memoryMinSpan || g.memory <= first.second) continue;
        double growth = static_cast<double>(g.memory - first.second);
        if (growth <= memoryGrowthMin || !isMostlyRising(trail)) continue;
        if (now - lastOr(leakReported, g.id) <= leakCooldown) continue;
        leakReported[g.id] = now;
        auto minutes = static_cast<int64_t>(span / 60);
        out.push_back(makeEvent(now, EventKind::memoryGrowth, 1, g.name + " keeps using more memory",
                                "Grew by " + Fmt::bytes(growth) + " in " + std::to_string(minutes) + " min (now " +
                                    Fmt::bytes(static_cast<double>(g.memory)) + "). Restarting it usually frees this.",
                                &g));
        std::vector<std::pair<double, ProcessRef>> growths;
        for (const ProcessSample& p : g.processes) {
            const uint64_t before = startMemory.at({p.pid, p.startTime});
            if (p.memory > before) growths.emplace_back(static_cast<double>(p.memory - before), refOf(p));
        }
        out.back().processes = mainContributors(std::move(growths), 0);
    }
    std::erase_if(memoryTrail, [&](const auto& entry) { return !seen.contains(entry.first); });
    std::erase_if(processMemoryAtStart, [&](const auto& entry) { return !seen.contains(entry.first); });
    // Processes that ended are forgotten with their groups' next check.
    for (auto& [id, start] : processMemoryAtStart) {
        const AppGroup* g = nullptr;
        for (const AppGroup& candidate : s.groups)
            if (candidate.id == id) g = &candidate;
        if (g == nullptr) continue;
        std::erase_if(start, [&](const auto& entry) {
            return std::none_of(g->processes.begin(), g->processes.end(), [&](const ProcessSample& p) {
                return p.pid == entry.first.first && p.startTime == entry.first.second;
            });
        });
    }
}

void EventDetector::checkPressure(const Snapshot& s, const AppGroup* biggest, Date now,
                                  std::vector<TimelineEvent>& out) {
    PressureLevel level = s.memory.pressureLevel;
    PressureLevel previous = lastPressure;
    lastPressure = level;  // only a rise is news; staying or falling back is silent
    if (level == PressureLevel::normal || level <= previous) return;

    int ordinal = static_cast<int>(level);
    auto reported = pressureReported.find(ordinal);
    bool cooled = reported == pressureReported.end() || now - reported->second > pressureCooldown;
    if (!cooled && level != PressureLevel::critical) return;
    pressureReported[ordinal] = now;

    bool critical = level == PressureLevel::critical;
    std::string detail;
    if (biggest != nullptr)
        detail =
            biggest->name + " is using the most memory (" + Fmt::bytes(static_cast<double>(biggest->memory)) + ").";
    out.push_back(makeEvent(now, EventKind::memoryPressure, critical ? 2 : 1,
                            critical ? "Memory is under heavy pressure" : "Memory is getting tight", detail, biggest));
}

void EventDetector::checkThermal(const Snapshot& s, const AppGroup* busiest, Date now,
                                 std::vector<TimelineEvent>& out) {
    int state = static_cast<int>(s.thermal.state);
    int previous = lastThermal;
    lastThermal = state;
    if (state <= previous || state <= static_cast<int>(ThermalState::fair)) return;
    if (thermalReported && now - *thermalReported <= thermalCooldown) return;
    thermalReported = now;

    std::string detail = "macOS is slowing things down to cool off.";
    if (busiest != nullptr) detail += " Busiest app: " + busiest->name + " (" + Fmt::percent(busiest->cpu) + ").";
    out.push_back(makeEvent(now, EventKind::thermal, 2, "Your Mac is running hot", detail, busiest));
}

void EventDetector::checkIndexing(const Snapshot& s, Date now, std::vector<TimelineEvent>& out) {
    double load = 0;
    std::vector<std::string> present;
    for (const std::string& name : indexers_.processNames) {
        bool found = false;
        for (const AppGroup& g : s.groups) {
            if (!isProcessGroup(g.id, name)) continue;
            load += g.cpu;
            found = true;
        }
        if (found) present.push_back(name);
    }
    if (present.empty() || load <= indexingLoadFloor) {
        spotlightSince.reset();
        return;
    }
    if (!spotlightSince) spotlightSince = now;
    if (now - *spotlightSince <= indexingMinStretch) return;
    if (spotlightReported && now - *spotlightReported <= indexingCooldown) return;
    spotlightReported = now;

    std::string who = indexers_.isSpotlight ? std::string("mds_stores and mdworker are")
                                            : joinNames(present) + (present.size() == 1 ? " is" : " are");
    out.push_back(makeEvent(now, EventKind::spotlight, 0, "Spotlight is indexing",
                            who + " cataloguing files (" + Fmt::percent(load) +
                                " CPU). Normal after updates or big file changes; it settles on "
                                "its own."));
}

void EventDetector::checkSwap(const Snapshot& s, Date now, std::vector<TimelineEvent>& out) {
    double gb = static_cast<double>(s.memory.swapUsed) / 1073741824.0;
    if (gb >= swapFloorGB && gb - lastSwapGB >= swapStepGB) {
        out.push_back(makeEvent(now, EventKind::swap, 1, "Your Mac is swapping to disk",
                                Fmt::number(gb, 1) + " GB of memory moved to the SSD. Things may feel slower."));
        lastSwapGB = gb;
    } else if (gb < lastSwapGB - swapStepGB) {
        // The baseline follows swap down, so a later climb of 2 GB is news again.
        lastSwapGB = gb;
    }
}

void EventDetector::checkPower(const Snapshot& s, Date now, std::vector<TimelineEvent>& out) {
    if (!s.battery.present) return;
    bool onAC = s.battery.onAC;
    if (lastOnAC && *lastOnAC != onAC) {
        out.push_back(makeEvent(now, onAC ? EventKind::pluggedIn : EventKind::unplugged, 0,
                                onAC ? "Plugged in" : "Unplugged",
                                "Battery at " + Fmt::percent(static_cast<int>(s.battery.percent))));
    }
    lastOnAC = onAC;
}

}  // namespace qm
