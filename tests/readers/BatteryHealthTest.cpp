#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "readers/BatteryHealth.h"

namespace qm {
namespace {

TEST(BatteryHealth, ParsesTheSystemReport) {
    const char* report = R"({"SPPowerDataType":[
        {"_name":"spbattery_information","sppower_battery_health_info":{
            "sppower_battery_cycle_count":187,"sppower_battery_health":"Good",
            "sppower_battery_health_maximum_capacity":"87%"}},
        {"_name":"sppower_ac_charger_information"}]})";
    EXPECT_EQ(parseBatteryHealthReport(report), 87);
    EXPECT_EQ(parseBatteryHealthReport(R"({"SPPowerDataType":[{"sppower_battery_health_info":
        {"sppower_battery_health_maximum_capacity":" 100 %"}}]})"),
              100);
    EXPECT_FALSE(parseBatteryHealthReport(R"({"SPPowerDataType":[{"_name":"sppower_ac_charger_information"}]})"));
    EXPECT_FALSE(parseBatteryHealthReport(R"({"SPPowerDataType":[{"sppower_battery_health_info":
        {"sppower_battery_health_maximum_capacity":"87"}}]})"));
    EXPECT_FALSE(parseBatteryHealthReport(R"({"SPPowerDataType":[{"sppower_battery_health_info":
        {"sppower_battery_health_maximum_capacity":87}}]})"));
    EXPECT_FALSE(parseBatteryHealthReport(R"({"SPPowerDataType":{}})"));
    EXPECT_FALSE(parseBatteryHealthReport("not json {"));
    EXPECT_FALSE(parseBatteryHealthReport(""));
}

// Jobs are held until the test runs them, as a background queue would.
struct Harness {
    double now = 0;
    int measurements = 0;
    std::optional<double> answer = 88;
    std::vector<std::function<void()>> pending;
    AppleBatteryHealth health{[this] {
        ++measurements;
        return answer;
                              },
                              [this](std::function<void()> job) { pending.push_back(std::move(job)); },
                              [this] { return now; }};
    void runPending() {
        auto jobs = std::move(pending);
        pending.clear();
        for (auto& job : jobs) job();
    }
};

TEST(BatteryHealth, RefreshesInTheBackgroundAtMostEverySixHours) {
    Harness h;
    EXPECT_FALSE(h.health.maximumCapacity());  // the first call only starts a refresh
    EXPECT_FALSE(h.health.maximumCapacity());  // one in flight: no second one
    EXPECT_EQ(h.pending.size(), 1u);
    h.runPending();
    EXPECT_EQ(h.measurements, 1);

    h.now = 100;
    EXPECT_EQ(h.health.maximumCapacity(), 88);
    h.now = 21600;  // exactly six hours after the read finished: not yet
    h.answer = 86;
    EXPECT_EQ(h.health.maximumCapacity(), 88);
    EXPECT_TRUE(h.pending.empty());

    h.now = 21600.5;
    EXPECT_EQ(h.health.maximumCapacity(), 88);  // the stale value, while the refresh runs
    h.runPending();
    EXPECT_EQ(h.health.maximumCapacity(), 86);
    EXPECT_EQ(h.measurements, 2);
}

TEST(BatteryHealth, AFailedReportClearsTheValueUntilTheNextAttempt) {
    Harness h;
    h.health.maximumCapacity();
    h.runPending();
    h.now = 30000;
    h.answer = std::nullopt;
    h.health.maximumCapacity();
    h.runPending();
    EXPECT_FALSE(h.health.maximumCapacity());
    EXPECT_TRUE(h.pending.empty());  // the failure counts as a read: no retry for six hours
}

TEST(BatteryHealth, ALauncherThatRunsAtOnceDoesNotDeadlock) {
    double now = 0;
    AppleBatteryHealth health([] { return std::optional<double>(91); }, [](std::function<void()> job) { job(); },
                              [&] { return now; });
    EXPECT_FALSE(health.maximumCapacity());
    EXPECT_EQ(health.maximumCapacity(), 91);
}

}  // namespace
}  // namespace qm
