// The energy screen's model: what is using the battery. A sentence about the power
// drawn now, the battery card, the apps drawing the most power now, what drained the
// battery since it was last unplugged, and today's per-app totals from the history.
// Pure functions of the snapshot, the monitor's battery-session energy and the
// store's rows; nothing here draws.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/HistoryRecords.h"
#include "core/Snapshot.h"

namespace qm {

class HistoryStore;

namespace energy {

// Below this the machine is idle; below `heavyWatts` it is in moderate use.
constexpr double sippingWatts = 6.0;
constexpr double heavyWatts = 20.0;
// An app drawing less than this is not worth listing as a power user.
constexpr double meaningfulWatts = 0.1;
constexpr size_t powerNowLimit = 5;
constexpr size_t drainLimit = 8;
constexpr int todayLimit = 10;
// Apple considers a battery at this share of its design capacity or more normal.
constexpr double healthyPercent = 80.0;

// The whole machine's power now: the platform's own figure, else the sum of the app
// groups that report one, as the monitor charts it; absent when nothing reports power.
std::optional<double> machinePower(const Snapshot& snapshot);

// The sentence under the power figure: the battery's remaining time when running on a
// battery that estimates it, otherwise how heavy `watts` is; without a power reading,
// that the machine does not report its power (never that it is idle).
std::string powerSentence(const BatteryStats& battery, std::optional<double> watts);

// One app on the power-now card.
struct PowerUser {
    std::string key;
    std::string name;
    double watts = 0;
};
// The groups drawing meaningful power, most first, at most `limit`.
std::vector<PowerUser> powerNow(const Snapshot& snapshot, size_t limit = powerNowLimit);
// What the "using the most power now" list says when it lists nothing: that nothing
// draws much, or, where no power is known at all, that it is not measured.
const char* powerNowEmptyText(const Snapshot& snapshot);

// One app on the since-unplugged card: its energy and its share (0…100) of all the
// energy apps drew in the session.
struct DrainShare {
    std::string key;
    std::string name;
    double joules = 0;
    double share = 0;
};
// The session's apps by energy, most first, at most `limit`; empty while nothing
// has been measured. Ties go by name so the order is stable.
std::vector<DrainShare> drainShares(const std::unordered_map<std::string, AppEnergy>& session,
                                    size_t limit = drainLimit);
// The same from history rows (totals over the time on battery), for when no live
// session is at hand.
std::vector<DrainShare> drainShares(const std::vector<AppTotal>& totals, size_t limit = drainLimit);

// "Since unplugged at 3:04 PM".
std::string sinceUnpluggedSubtitle(Date unplugged);
// "42% of the energy your apps used since you unplugged."
std::string shareSentence(double share);

// The start of the local calendar day holding `now`.
Date startOfDay(Date now);
// Today's totals: the store's top ten apps from the start of today to now, by energy.
std::vector<AppTotal> todayTotals(HistoryStore& store, Date now);
// Whether any of the totals holds energy: on a machine without a power reading none
// does, and every app's energy is "not measured" rather than 0.
bool energyMeasured(const std::vector<AppTotal>& totals);
// "3h 7m CPU": an app's CPU time on the totals card.
std::string cpuTimeText(const AppTotal& total);

// The battery card's lines; absent when the line does not apply.
std::optional<std::string> powerSourceLine(const BatteryStats& battery);
// Shown for a battery on the adapter that is not charging although not yet full.
std::optional<std::string> chargeLimitNote(const BatteryStats& battery);
std::optional<std::string> healthSentence(const BatteryStats& battery);
// "battery.100percent.bolt" on the adapter, else by charge.
std::string batterySymbol(const BatteryStats& battery);

// Fixed texts.
constexpr const char* sippingSentence = "Sipping power. Your Mac is mostly idle.";
constexpr const char* noPowerSentence = "Your Mac does not report how much power it draws.";
constexpr const char* notMeasured = "not measured";
constexpr const char* moderateSentence = "Moderate use. Typical for browsing, writing and calls.";
constexpr const char* heavySentence = "Heavy use. Something is working hard; check the list below.";
constexpr const char* todayCaption = "From Quillmere history";
constexpr const char* todayEmpty = "Quillmere saves a summary every minute. Today's totals appear here shortly.";
constexpr const char* drainHeader = "What drained your battery";
constexpr const char* drainMeasuring = "Measuring… app energy appears here within a minute.";
constexpr const char* powerNowHeader = "Using the most power now";
constexpr const char* powerNowSymbol = "bolt.badge.clock";
constexpr const char* powerNowEmpty = "No app is drawing meaningful power right now.";
constexpr const char* powerNowUnmeasured = "Not measured: without the computer's power, no app's share of it is known.";
constexpr const char* onAdapterLine = "Power source: connected to the adapter";
constexpr const char* chargeLimitText = "Battery not charging while plugged in (charge limit)";
constexpr const char* healthyText = "Your battery is healthy. Apple considers 80% and above normal.";
constexpr const char* agedText = "Your battery has aged. Apple recommends service below 80% capacity.";

}  // namespace energy
}  // namespace qm
