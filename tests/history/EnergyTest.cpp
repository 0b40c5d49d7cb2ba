#include "history/Energy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <numeric>

#include "TempDirectory.h"
#include "fmt/Fmt.h"
#include "history/HistoryStore.h"

using namespace qm;
using qm::testing::TempDirectory;

namespace {

class EnergyTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US", "UTC"); }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }
};

BatteryStats onAdapter(double percent = 100) {
    BatteryStats b;
    b.present = true;
    b.onAC = true;
    b.percent = percent;
    return b;
}

BatteryStats onBattery(std::optional<int64_t> minutes) {
    BatteryStats b;
    b.present = true;
    b.onAC = false;
    b.percent = 60;
    b.minutesRemaining = minutes;
    return b;
}

AppGroup group(const std::string& id, std::optional<double> power) {
    AppGroup g;
    g.id = id;
    g.name = id.substr(id.find(':') + 1);
    g.power = power;
    return g;
}

}  // namespace

TEST_F(EnergyTest, PowerSentenceUsesRemainingTimeOnBatteryElseWattLevels) {
    BatteryStats desktop;  // no battery at all
    EXPECT_EQ(energy::powerSentence(onAdapter(), 5.99), energy::sippingSentence);
    EXPECT_EQ(energy::powerSentence(onAdapter(), 6.0), energy::moderateSentence);
    EXPECT_EQ(energy::powerSentence(desktop, 19.99), energy::moderateSentence);
    EXPECT_EQ(energy::powerSentence(desktop, 20.0), energy::heavySentence);
    EXPECT_EQ(energy::powerSentence(desktop, 0), energy::sippingSentence);
    EXPECT_EQ(energy::powerSentence(desktop, std::nan("")), energy::noPowerSentence);
    EXPECT_EQ(energy::powerSentence(desktop, std::nullopt), energy::noPowerSentence) << "not measured is not idle";
    EXPECT_EQ(energy::powerSentence(onAdapter(), std::nullopt), energy::noPowerSentence);

    EXPECT_EQ(energy::powerSentence(onBattery(125), 30), "At this rate your battery lasts about 2h 5m more.");
    // Without an estimate the battery falls back to the watt levels.
    EXPECT_EQ(energy::powerSentence(onBattery(std::nullopt), 30), energy::heavySentence);
    // A time-to-full on the adapter is not a remaining time.
    BatteryStats charging = onAdapter(50);
    charging.minutesRemaining = 40;
    EXPECT_EQ(energy::powerSentence(charging, 3), energy::sippingSentence);
}

TEST_F(EnergyTest, MachinePowerPrefersThePlatformFigureElseSumsTheApps) {
    Snapshot s;
    s.groups = {group("proc:a", 2.5), group("proc:b", std::nullopt), group("proc:c", 1.0)};
    EXPECT_EQ(energy::machinePower(s), 3.5);
    s.systemPower = 12.0;
    EXPECT_EQ(energy::machinePower(s), 12.0);
    s.systemPower = std::nan("");
    EXPECT_EQ(energy::machinePower(s), 3.5);
    // Nothing reports power: unknown, not zero.
    Snapshot silent;
    silent.groups = {group("proc:a", std::nullopt)};
    EXPECT_EQ(energy::machinePower(silent), std::nullopt);
}

TEST_F(EnergyTest, PowerNowListsMeaningfulDrawMostFirstUpToTheLimit) {
    Snapshot s;
    s.groups = {group("proc:idle", 0.05), group("proc:none", std::nullopt), group("proc:mid", 1.5),
                group("proc:top", 8.0),   group("proc:low", 0.1),           group("proc:bad", std::nan(""))};
    auto users = energy::powerNow(s);
    ASSERT_EQ(users.size(), 3u);
    EXPECT_EQ(users[0].name, "top");
    EXPECT_EQ(users[1].name, "mid");
    EXPECT_EQ(users[2].name, "low");
    EXPECT_EQ(energy::powerNow(s, 1).size(), 1u);

    Snapshot quiet;
    quiet.groups = {group("proc:idle", 0.01)};
    EXPECT_TRUE(energy::powerNow(quiet).empty());
    EXPECT_STREQ(energy::powerNowEmptyText(quiet), energy::powerNowEmpty);
    // No power known anywhere: the empty list is not a verdict that nothing draws.
    Snapshot unknown;
    unknown.groups = {group("proc:busy", std::nullopt)};
    EXPECT_STREQ(energy::powerNowEmptyText(unknown), energy::powerNowUnmeasured);
}

TEST_F(EnergyTest, DrainSharesAreOfEverythingTheSessionDrew) {
    std::unordered_map<std::string, AppEnergy> session;
    EXPECT_TRUE(energy::drainShares(session).empty());  // "Measuring…"
    session["proc:zero"] = {"zero", 0};
    EXPECT_TRUE(energy::drainShares(session).empty());

    session["proc:a"] = {"a", 300};
    session["proc:b"] = {"b", 100};
    session["proc:c"] = {"c", 100};
    session["proc:broken"] = {"broken", std::nan("")};
    auto all = energy::drainShares(session);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].name, "a");
    EXPECT_DOUBLE_EQ(all[0].share, 60);
    EXPECT_EQ(all[1].name, "b");  // ties by name
    EXPECT_EQ(all[2].name, "c");

    auto top = energy::drainShares(session, 1);
    ASSERT_EQ(top.size(), 1u);
    EXPECT_DOUBLE_EQ(top[0].share, 60);  // still a share of the whole session

    EXPECT_EQ(energy::shareSentence(60), "60% of the energy your apps used since you unplugged.");
    EXPECT_EQ(energy::sinceUnpluggedSubtitle(1'700'000'000), "Since unplugged at 10:13\u202fPM");
}

TEST_F(EnergyTest, BatteryCardLines) {
    EXPECT_EQ(energy::powerSourceLine(onAdapter()), "Power source: connected to the adapter");
    EXPECT_FALSE(energy::powerSourceLine(onBattery(30)));
    EXPECT_FALSE(energy::powerSourceLine(BatteryStats{}));  // a desktop has no battery card

    BatteryStats held = onAdapter(80);
    EXPECT_EQ(energy::chargeLimitNote(held), energy::chargeLimitText);
    held.isCharging = true;
    EXPECT_FALSE(energy::chargeLimitNote(held));
    EXPECT_FALSE(energy::chargeLimitNote(onAdapter(100)));
    EXPECT_FALSE(energy::chargeLimitNote(onBattery(30)));

    BatteryStats b = onAdapter();
    EXPECT_FALSE(energy::healthSentence(b));
    b.healthPercent = 80.0;
    EXPECT_EQ(energy::healthSentence(b), energy::healthyText);
    b.healthPercent = 79.9;
    EXPECT_EQ(energy::healthSentence(b), energy::agedText);
    b.healthPercent = std::nan("");
    EXPECT_FALSE(energy::healthSentence(b));

    EXPECT_EQ(energy::batterySymbol(onAdapter(20)), "battery.100percent.bolt");
    BatteryStats low = onBattery(30);
    low.percent = 20;
    EXPECT_EQ(energy::batterySymbol(low), "battery.25percent");
    low.percent = 90;
    EXPECT_EQ(energy::batterySymbol(low), "battery.75percent");
}

TEST_F(EnergyTest, StartOfDayIsLocalMidnight) {
    Date now = 1'700'000'000.5;
    Date midnight = energy::startOfDay(now);
    EXPECT_LE(midnight, now);
    EXPECT_LT(now - midnight, 25 * 3600.0);
    auto t = static_cast<std::time_t>(midnight);
    std::tm local{};
    localtime_r(&t, &local);
    EXPECT_EQ(local.tm_hour, 0);
    EXPECT_EQ(local.tm_min, 0);
    EXPECT_EQ(local.tm_sec, 0);
    EXPECT_EQ(energy::startOfDay(midnight), midnight);
}

TEST_F(EnergyTest, TodayTotalsAndTheBatterySessionFromARealHistory) {
    TempDirectory dir;
    HistoryStore store(dir.file("h.sqlite"));
    Date now = 1'700'000'000;
    auto today = static_cast<int64_t>(energy::startOfDay(now));
    auto minute = [](int64_t ts, bool battery) {
        SystemMinute m;
        m.ts = ts;
        m.onBattery = battery;
        return m;
    };
    auto app = [](int64_t ts, const std::string& name, double cpu, double joules) {
        return AppMinute{ts, "proc:" + name, name, cpu, 1e8, joules, 0};
    };
    store.write(minute(today - 60, false), {app(today - 60, "yesterday", 100, 900)});
    store.write(minute(today + 60, false), {app(today + 60, "editor", 50, 30), app(today + 60, "browser", 100, 30)});
    store.write(minute(today + 120, true), {app(today + 120, "browser", 100, 60), app(today + 120, "editor", 10, 20)});

    auto totals = energy::todayTotals(store, now);
    ASSERT_EQ(totals.size(), 2u);
    EXPECT_EQ(totals[0].name, "browser");  // most energy
    EXPECT_DOUBLE_EQ(totals[0].cpuSeconds, 120);
    EXPECT_EQ(energy::cpuTimeText(totals[0]), "2m CPU");
    EXPECT_EQ(totals[1].name, "editor");

    // The battery session: minutes on battery since the last minute on mains.
    auto unplugged = store.lastUnpluggedSync();
    ASSERT_TRUE(unplugged);
    EXPECT_EQ(*unplugged, static_cast<Date>(today + 120));
    auto drain = energy::drainShares(store.appTotalsSync(*unplugged, now, true, 100));
    ASSERT_EQ(drain.size(), 2u);
    EXPECT_EQ(drain[0].name, "browser");
    EXPECT_DOUBLE_EQ(drain[0].share, 75);
    EXPECT_DOUBLE_EQ(drain[1].share, 25);

    // An empty history reads as no totals, not as an error.
    HistoryStore empty(dir.file("empty.sqlite"));
    EXPECT_TRUE(energy::todayTotals(empty, now).empty());
}
