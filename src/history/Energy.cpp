#include "history/Energy.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include "fmt/Fmt.h"
#include "history/HistoryStore.h"

namespace qm::energy {
namespace {

// Orders the card's apps: most energy first, then by name so equal figures keep
// the same place between refreshes.
void sortByEnergy(std::vector<DrainShare>& list) {
    std::sort(list.begin(), list.end(), [](const DrainShare& a, const DrainShare& b) {
        if (a.joules != b.joules) return a.joules > b.joules;
        return a.name < b.name;
    });
}

std::vector<DrainShare> withShares(std::vector<DrainShare> list, size_t limit) {
    double total = 0;
    for (const DrainShare& d : list) total += d.joules;
    if (!(total > 0)) return {};  // nothing measured yet
    // Shares are of everything the session's apps drew, not only of those listed.
    for (DrainShare& d : list) d.share = d.joules / total * 100.0;
    sortByEnergy(list);
    if (list.size() > limit) list.resize(limit);
    return list;
}

bool usable(double joules) { return std::isfinite(joules) && joules > 0; }

}  // namespace

std::optional<double> machinePower(const Snapshot& snapshot) {
    if (snapshot.systemPower && std::isfinite(*snapshot.systemPower)) return *snapshot.systemPower;
    std::optional<double> sum;
    for (const AppGroup& group : snapshot.groups)
        if (group.power && std::isfinite(*group.power)) sum = sum.value_or(0) + *group.power;
    return sum;
}

std::string powerSentence(const BatteryStats& battery, std::optional<double> watts) {
    if (battery.present && !battery.onAC && battery.minutesRemaining)
        // "At this rate your battery lasts about %@ more." (%@ = duration)
        return "At this rate your battery lasts about " + Fmt::minutes(*battery.minutesRemaining) + " more.";
    if (!watts || !std::isfinite(*watts) || *watts < 0) return noPowerSentence;
    if (*watts < sippingWatts) return sippingSentence;
    if (*watts < heavyWatts) return moderateSentence;
    return heavySentence;
}

bool energyMeasured(const std::vector<AppTotal>& totals) {
    return std::any_of(totals.begin(), totals.end(), [](const AppTotal& t) { return usable(t.energy); });
}

const char* powerNowEmptyText(const Snapshot& snapshot) {
    const bool anyAppPower = std::any_of(snapshot.groups.begin(), snapshot.groups.end(),
                                         [](const AppGroup& group) { return group.power.has_value(); });
    return machinePower(snapshot) || anyAppPower ? powerNowEmpty : powerNowUnmeasured;
}

std::vector<PowerUser> powerNow(const Snapshot& snapshot, size_t limit) {
    std::vector<PowerUser> users;
    for (const AppGroup& group : snapshot.groups)
        if (group.power && std::isfinite(*group.power) && *group.power >= meaningfulWatts)
            users.push_back({group.id, group.name, *group.power});
    std::sort(users.begin(), users.end(), [](const PowerUser& a, const PowerUser& b) {
        if (a.watts != b.watts) return a.watts > b.watts;
        return a.name < b.name;
    });
    if (users.size() > limit) users.resize(limit);
    return users;
}

std::vector<DrainShare> drainShares(const std::unordered_map<std::string, AppEnergy>& session, size_t limit) {
    std::vector<DrainShare> list;
    for (const auto& [key, entry] : session)
        if (usable(entry.joules)) list.push_back({key, entry.name, entry.joules, 0});
    return withShares(std::move(list), limit);
}

std::vector<DrainShare> drainShares(const std::vector<AppTotal>& totals, size_t limit) {
    std::vector<DrainShare> list;
    for (const AppTotal& total : totals)
        if (usable(total.energy)) list.push_back({total.key, total.name, total.energy, 0});
    return withShares(std::move(list), limit);
}

std::string sinceUnpluggedSubtitle(Date unplugged) {
    // "Since unplugged at %@" (%@ = time of day)
    return "Since unplugged at " + Fmt::time(unplugged);
}

std::string shareSentence(double share) {
    return Fmt::percent(share) + " of the energy your apps used since you unplugged.";
}

Date startOfDay(Date now) {
    if (!std::isfinite(now)) return 0;
    auto seconds = static_cast<std::time_t>(std::floor(now));
    std::tm local{};
    if (!localtime_r(&seconds, &local)) return now;
    local.tm_hour = 0;
    local.tm_min = 0;
    local.tm_sec = 0;
    local.tm_isdst = -1;  // let the library decide: midnight may be in a different offset
    std::time_t midnight = std::mktime(&local);
    return midnight == static_cast<std::time_t>(-1) ? now : static_cast<Date>(midnight);
}

std::vector<AppTotal> todayTotals(HistoryStore& store, Date now) {
    return store.appTotalsSync(startOfDay(now), now, false, todayLimit);
}

std::string cpuTimeText(const AppTotal& total) {
    // "%@ CPU" (CPU time used. %@ = duration)
    return Fmt::duration(total.cpuSeconds) + " CPU";
}

std::optional<std::string> powerSourceLine(const BatteryStats& battery) {
    if (battery.present && battery.onAC) return std::string(onAdapterLine);
    return std::nullopt;
}

std::optional<std::string> chargeLimitNote(const BatteryStats& battery) {
    // Batteries often rest a little under 100 % when full, so only a clear gap
    // (an optimised-charging or charge-threshold stop) counts as held back.
    if (battery.present && battery.onAC && !battery.isCharging && battery.percent < 95.0)
        return std::string(chargeLimitText);
    return std::nullopt;
}

std::optional<std::string> healthSentence(const BatteryStats& battery) {
    if (!battery.present || !battery.healthPercent || !std::isfinite(*battery.healthPercent)) return std::nullopt;
    return std::string(*battery.healthPercent >= healthyPercent ? healthyText : agedText);
}

std::string batterySymbol(const BatteryStats& battery) {
    if (battery.onAC) return "battery.100percent.bolt";
    return battery.percent < 50.0 ? "battery.25percent" : "battery.75percent";
}

}  // namespace qm::energy
