#include <gtest/gtest.h>

#include <unordered_set>

#include "core/Snapshot.h"
#include "core/SnapshotJson.h"

namespace qm {
namespace {

using CoreType = CPUStats::CoreType;
using nlohmann::json;

TEST(CPUStatsTest, AverageOfOneTypePairsCoresUpToTheShorterArray) {
    CPUStats cpu;
    cpu.perCore = {10, 20, 30, 40};
    EXPECT_FALSE(cpu.average(CoreType::efficiency).has_value()) << "no types known is absent, not 0";

    cpu.coreTypes = {CoreType::performance, CoreType::efficiency, CoreType::performance, CoreType::efficiency};
    EXPECT_DOUBLE_EQ(*cpu.average(CoreType::performance), 20.0);
    EXPECT_DOUBLE_EQ(*cpu.average(CoreType::efficiency), 30.0);
    EXPECT_FALSE(cpu.average(CoreType::unknown).has_value());

    // Ten cores, eight types: the last two cores have no type and do not count.
    cpu.perCore = {0, 0, 0, 0, 0, 0, 0, 0, 100, 100};
    cpu.coreTypes.assign(8, CoreType::performance);
    EXPECT_DOUBLE_EQ(*cpu.average(CoreType::performance), 0.0);

    // More types than cores: only the paired ones count.
    cpu.perCore = {50};
    cpu.coreTypes = {CoreType::efficiency, CoreType::efficiency};
    EXPECT_DOUBLE_EQ(*cpu.average(CoreType::efficiency), 50.0);
}

TEST(SnapshotEnumsTest, RawStringsRoundTripAndAreCaseSensitive) {
    for (auto kind : allEventKinds) EXPECT_EQ(eventKindFromRaw(rawValue(kind)), kind);
    EXPECT_EQ(eventKindFromRaw("swap"), EventKind::swap);
    EXPECT_EQ(eventKindFromRaw("highCPU"), EventKind::highCPU);
    EXPECT_FALSE(eventKindFromRaw("highcpu").has_value());
    EXPECT_FALSE(eventKindFromRaw("").has_value());

    for (auto kind : allProcessKinds) EXPECT_EQ(processKindFromRaw(rawValue(kind)), kind);
    EXPECT_EQ(label(ProcessKind::system), systemLabel());
    EXPECT_FALSE(processKindFromRaw("App").has_value());

    for (auto group : SensorReading::allGroups) EXPECT_EQ(sensorGroupFromRaw(rawValue(group)), group);
    EXPECT_EQ(rawValue(SensorReading::Group::storage), "Storage");
    EXPECT_FALSE(sensorGroupFromRaw("cpu").has_value());

    EXPECT_EQ(label(PressureLevel::warning), "Elevated");
    EXPECT_EQ(caption(PressureLevel::critical), "High pressure");
    EXPECT_EQ(kernelCode(PressureLevel::normal), 1);
    EXPECT_EQ(kernelCode(PressureLevel::warning), 2);
    EXPECT_EQ(kernelCode(PressureLevel::critical), 4);
}

TEST(SnapshotTest, EmptySnapshotHoldsTheDocumentedDefaults) {
    const Snapshot& s = Snapshot::empty();
    EXPECT_EQ(&s, &Snapshot::empty());
    EXPECT_EQ(s.date, Snapshot::empty().date) << "the date is fixed when first touched";
    EXPECT_GT(s.date, 1'600'000'000.0);
    EXPECT_DOUBLE_EQ(s.interval, 1.0);
    EXPECT_FALSE(s.battery.present);
    EXPECT_TRUE(s.battery.onAC);
    EXPECT_EQ(s.thermal.state, ThermalState::nominal);
    EXPECT_FALSE(s.gpu || s.systemPower || s.thermal.socTemp || s.battery.minutesRemaining);
    EXPECT_TRUE(s.groups.empty() && s.cpu.perCore.empty() && s.thermal.sensors.empty());
    EXPECT_EQ(s.processCount, 0);
    EXPECT_FALSE(s.restrictedVisible || s.helperActive);
    EXPECT_EQ(s.memory.pressureLevel, PressureLevel::normal);
}

TEST(SnapshotTest, GroupEqualityIsShallowAndRecordsHashFieldByField) {
    AppGroup a{"app:/Applications/Safari.app",
               "Safari",
               ProcessKind::app,
               "/Applications/Safari.app",
               "com.apple.Safari",
               {ProcessSample{}},
               12.5,
               1000,
               1.5,
               10,
               20,
               std::nullopt,
               std::nullopt};
    AppGroup b = a;
    b.name = "Other";
    b.power.reset();
    b.diskWriteRate = 99;
    b.processes[0].pid = 42;
    EXPECT_EQ(a, b);
    b.processes.push_back(ProcessSample{});
    EXPECT_NE(a, b);

    ProcessSample p{1, 0, 501, "a",   "/bin/a", 1.0, 10,           std::nullopt,
                    0, 0, 0,   false, false,    0,   std::nullopt, std::nullopt};
    ProcessSample q = p;
    q.power = 0.0;  // absent and zero are different values
    EXPECT_NE(p, q);
    std::unordered_set<ProcessSample> set{p, q, p};
    EXPECT_EQ(set.size(), 2u);

    TimelineEvent e{1, 100, EventKind::swap, 1, "t", "d", std::nullopt, std::nullopt, {}};
    TimelineEvent f = e;
    f.appName = "";
    EXPECT_NE(e, f);
    EXPECT_EQ(std::hash<TimelineEvent>{}(e), std::hash<TimelineEvent>{}(TimelineEvent(e)));
}

TEST(SnapshotJsonTest, FieldNamesEnumsAndNullsForAbsentValues) {
    Snapshot s;
    s.date = 1'700'000'000.5;
    s.cpu.perCore = {1, 2};
    s.cpu.coreTypes = {CoreType::performance, CoreType::unknown};
    s.memory.pressureLevel = PressureLevel::warning;
    s.systemPower = 7.5;
    s.thermal.state = ThermalState::serious;
    s.thermal.fans = {FanReading{0, 1200, std::nullopt, 5000.0}};
    s.groups = {AppGroup{"proc:kernel_task",
                         "kernel_task",
                         ProcessKind::system,
                         std::nullopt,
                         std::nullopt,
                         {},
                         3,
                         4,
                         std::nullopt,
                         0,
                         0,
                         std::nullopt,
                         std::nullopt}};

    const json j = s;
    for (const char* key :
         {"date", "interval", "cpu", "memory", "gpu", "systemPower", "network", "disk", "battery", "thermal", "groups",
          "processCount", "restrictedVisible", "helperActive", "selfCost", "uptime"})
        EXPECT_TRUE(j.contains(key)) << key;
    EXPECT_TRUE(j["gpu"].is_null());
    EXPECT_EQ(j["systemPower"], 7.5);
    EXPECT_EQ(j["cpu"]["coreTypes"], json({"performance", "unknown"}));
    EXPECT_EQ(j["memory"]["pressureLevel"], "warning");
    EXPECT_EQ(j["thermal"]["state"], 2);
    EXPECT_TRUE(j["thermal"]["socTemp"].is_null());
    EXPECT_TRUE(j["thermal"]["fans"][0]["min"].is_null());
    EXPECT_EQ(j["thermal"]["fans"][0]["max"], 5000.0);
    EXPECT_TRUE(j["battery"]["cycleCount"].is_null());
    EXPECT_EQ(j["battery"]["onAC"], true);
    EXPECT_EQ(j["groups"][0]["kind"], "system");
    EXPECT_TRUE(j["groups"][0]["bundlePath"].is_null());
    EXPECT_TRUE(j["groups"][0]["power"].is_null());
    EXPECT_EQ(j["selfCost"].size(), 3u);

    SystemMinute m;
    m.ts = 60;
    m.gpu = 12;
    const json jm = m;
    EXPECT_EQ(jm["gpu"], 12.0);
    EXPECT_TRUE(jm["power"].is_null());
    EXPECT_TRUE(jm["battery"].is_null());
    EXPECT_EQ(jm["pressureLevel"], 1);
}

TEST(SnapshotJsonTest, EventsRoundTripAndUnknownKindsAreRejected) {
    TimelineEvent e{
        7, 1'700'000'000.25, EventKind::memoryGrowth, 2, "Safari is growing", "3 GB", "app:/S.app", std::nullopt, {}};
    const json j = e;
    EXPECT_EQ(j["kind"], "memoryGrowth");
    EXPECT_TRUE(j["appName"].is_null());
    EXPECT_EQ(j.get<TimelineEvent>(), e);

    json wrongCase = j;
    wrongCase["kind"] = "memorygrowth";
    EXPECT_THROW(wrongCase.get<TimelineEvent>(), json::exception);
    json missing = j;
    missing.erase("kind");
    EXPECT_THROW(missing.get<TimelineEvent>(), json::exception);
}

}  // namespace
}  // namespace qm
