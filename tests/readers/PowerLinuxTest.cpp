#include <gtest/gtest.h>

#include "SensorTestTree.h"
#include "core/FileRead.h"
#include "readers/PowerRapl.h"
#include "readers/linux/PowerLinux.h"

namespace qm {
namespace {

using testing::fixtureRoot;
using testing::SensorTestTree;

TEST(PowerRapl, WattsFromCounterDeltasWithWrap) {
    RaplMeter meter;
    EXPECT_FALSE(meter.update({{"intel-rapl:0", 1'000'000, 10'000'000}}, 100));  // first sight
    EXPECT_DOUBLE_EQ(*meter.update({{"intel-rapl:0", 7'000'000, 10'000'000}}, 101), 6);
    // Wrapped: 7 000 000 → range 10 000 000 → 0 → 2 000 000 is 5 J.
    EXPECT_DOUBLE_EQ(*meter.update({{"intel-rapl:0", 2'000'000, 10'000'000}}, 102), 5);
    EXPECT_DOUBLE_EQ(*meter.update({{"intel-rapl:0", 3'000'000, 10'000'000}}, 102), 5) << "no time passed";
    // Two packages add up.
    meter.update({{"intel-rapl:0", 0, 0}, {"intel-rapl:1", 0, 0}}, 200);  // new zone set: start over
    EXPECT_DOUBLE_EQ(*meter.update({{"intel-rapl:0", 4'000'000, 0}, {"intel-rapl:1", 6'000'000, 0}}, 202), 5);
    // Backwards without a known range: no figure rather than a wrong one.
    EXPECT_FALSE(meter.update({{"intel-rapl:0", 1, 0}, {"intel-rapl:1", 6'000'000, 0}}, 203));
}

// Right after start the counters have been read twice within moments: no figure until
// a real span has passed, and then one measured over the whole of it.
TEST(PowerRapl, NothingBeforeARealSpanAndNeverAFraction) {
    RaplMeter meter;
    const uint64_t range = 262'143'328'850;
    EXPECT_FALSE(meter.update({{"intel-rapl:0", 5'000'000, range}}, 10.0));
    EXPECT_FALSE(meter.update({{"intel-rapl:0", 5'000'000, range}}, 10.004)) << "counter not moved yet: not 0 W";
    EXPECT_FALSE(meter.update({{"intel-rapl:0", 5'061'000, range}}, 10.3)) << "too short a span";
    EXPECT_DOUBLE_EQ(*meter.update({{"intel-rapl:0", 11'000'000, range}}, 11.0), 6) << "over the whole second";
    EXPECT_DOUBLE_EQ(*meter.update({{"intel-rapl:0", 11'900'000, range}}, 11.1), 6) << "too soon: the last figure";
    EXPECT_DOUBLE_EQ(*meter.update({{"intel-rapl:0", 19'000'000, range}}, 12.0), 8) << "from 11.0, not 11.1";
    EXPECT_FALSE(meter.update({{"intel-rapl:0", 19'000'000, range}, {"intel-rapl:1", 0, range}}, 12.1))
        << "a new set of zones starts over";
    EXPECT_FALSE(meter.update({{"intel-rapl:0", 20'000'000, range}, {"intel-rapl:1", 0, range}}, 12.2));
}

struct ManualSeconds {
    double now = 1000;
    std::function<double()> clock() {
        return [this] { return now; };
    }
};

TEST(PowerLinux, LaptopOnBatteryUsesDischargeForSystemPower) {
    ManualSeconds time;
    LinuxPowerSource source(fixtureRoot("laptop-on-battery"), time.clock());
    auto reading = source.read();
    ASSERT_TRUE(reading);
    const auto& b = reading->battery;
    EXPECT_TRUE(b.present);
    EXPECT_EQ(b.percent, 85);  // from uevent, read in one go
    EXPECT_FALSE(b.onAC);
    EXPECT_FALSE(b.isCharging);
    EXPECT_EQ(b.minutesRemaining, 483);
    EXPECT_NEAR(*b.healthPercent, 99.73, 0.01);
    EXPECT_FALSE(b.cycleCount);
    EXPECT_DOUBLE_EQ(*b.batteryPower, -5.064);
    EXPECT_DOUBLE_EQ(*reading->systemPower, 5.064);
}

TEST(PowerLinux, IntelLaptopMeasuresRaplPackagesOnly) {
    SensorTestTree tree("intel-laptop");
    ManualSeconds time;
    LinuxPowerSource source(tree.root(), time.clock());
    const std::string package = "sys/class/powercap/intel-rapl:0/energy_uj";

    auto first = source.read();  // no time has passed yet, and on mains: nothing to fall back on
    ASSERT_TRUE(first);
    EXPECT_FALSE(first->systemPower);
    EXPECT_TRUE(first->battery.isCharging);
    EXPECT_EQ(first->battery.minutesRemaining, 72);
    EXPECT_EQ(first->battery.cycleCount, 212);
    EXPECT_DOUBLE_EQ(*first->battery.temperature, 31.2);
    time.now += 0.1;
    tree.write(package, "240423366267");  // +1 J in a tenth of a second: too short to tell
    EXPECT_FALSE(source.read()->systemPower) << "absent, not 0 W or a partial figure";

    time.now += 1.9;
    tree.write(package, "240442366267");                                        // +20 J
    tree.write("sys/class/powercap/intel-rapl:0:0/energy_uj", "999999999999");  // a part of the package
    EXPECT_DOUBLE_EQ(*source.read()->systemPower, 10);

    time.now += 1;
    tree.write(package, "7000000");  // wrapped at max_energy_range_uj (262143328850)
    auto wrapped = source.read();
    EXPECT_NEAR(*wrapped->systemPower, (262143328850.0 - 240442366267.0 + 7000000.0) * 1e-6, 1e-6);
    EXPECT_EQ(wrapped->systemPowerScope, PowerScope::package) << "the package alone is not the whole machine";
}

// Intel laptops also have a "psys" zone for the whole platform, which holds the
// package: a package at 10 W and psys at 15 W is 15 W, not 25 W.
TEST(PowerLinux, PlatformZoneIsUsedAloneAndTheZonesAreListedOnceAMinute) {
    SensorTestTree tree("intel-laptop");
    const std::string package = "sys/class/powercap/intel-rapl:0/energy_uj";
    const std::string psys = "sys/class/powercap/intel-rapl:1/energy_uj";
    tree.write("sys/class/powercap/intel-rapl:1/name", "psys");
    tree.write(psys, "1000000000");
    tree.write("sys/class/powercap/intel-rapl:1/max_energy_range_uj", "262143328850");
    tree.write("sys/class/powercap/intel-rapl:2/name", "dram");  // not a package: not summed
    tree.write("sys/class/powercap/intel-rapl:2/energy_uj", "5");
    ManualSeconds time;
    LinuxPowerSource source(tree.root(), time.clock());

    time.now += 2;
    tree.write(package, "240442366267");  // +20 J: 10 W
    tree.write(psys, "1030000000");       // +30 J: 15 W
    auto reading = source.read();
    EXPECT_DOUBLE_EQ(*reading->systemPower, 15);
    EXPECT_EQ(reading->systemPowerScope, PowerScope::machine);

    // The platform counter becomes unreadable: no figure until the zones are listed
    // again, then the package alone.
    tree.write(psys, "");
    time.now += 2;
    EXPECT_FALSE(source.read()->systemPower) << "on mains, nothing to fall back on";
    time.now += 60;
    source.read();  // lists the zones again: the package, measured from here
    time.now += 2;
    tree.write(package, "240462366267");  // +20 J: 10 W
    reading = source.read();
    EXPECT_DOUBLE_EQ(*reading->systemPower, 10);
    EXPECT_EQ(reading->systemPowerScope, PowerScope::package);

    // A psys zone whose counter file is missing altogether is passed over too.
    tree.remove("sys/class/powercap/intel-rapl:1/energy_uj");
    EXPECT_EQ(planRapl(tree.root()).zones, std::vector<std::string>{"intel-rapl:0"});
    EXPECT_TRUE(planRapl(tree.root()).hiddenZones) << "a zone is there, its counter is not: the helper may read it";
    tree.remove("sys/class/powercap");
    EXPECT_TRUE(planRapl(tree.root()).zones.empty());
    EXPECT_FALSE(planRapl(tree.root()).hiddenZones) << "no RAPL at all: nobody is asked until the next listing";
}

TEST(PowerLinux, UnreadableRaplFallsBackAndBatteriesComeAndGo) {
    SensorTestTree tree("laptop-on-battery");
    tree.write("sys/class/powercap/intel-rapl:0/energy_uj", "");  // root-only on most kernels: reads empty here
    ManualSeconds time;
    LinuxPowerSource source(tree.root(), time.clock());
    time.now += 5;
    EXPECT_DOUBLE_EQ(*source.read()->systemPower, 5.064);

    // The battery is pulled, then put back.
    const std::string uevent = *readFile(tree.root() + "/sys/class/power_supply/BAT0/uevent");
    tree.remove("sys/class/power_supply/BAT0");
    auto gone = source.read();
    EXPECT_FALSE(gone->battery.present);
    EXPECT_TRUE(gone->battery.onAC);  // the default record
    EXPECT_FALSE(gone->systemPower);
    tree.write("sys/class/power_supply/BAT0/type", "Battery");
    tree.write("sys/class/power_supply/BAT0/uevent", uevent);
    EXPECT_TRUE(source.read()->battery.present);

    // A uevent that cannot be read falls back to the attribute files.
    tree.makeUnreadable("sys/class/power_supply/BAT0/uevent");
    tree.write("sys/class/power_supply/BAT0/status", "Discharging");
    tree.write("sys/class/power_supply/BAT0/capacity", "42");
    auto files = source.read();
    EXPECT_TRUE(files->battery.present);
    EXPECT_EQ(files->battery.percent, 42);
}

TEST(PowerLinux, DesktopWithoutBatteryOrCounters) {
    ManualSeconds time;
    LinuxPowerSource source(fixtureRoot("amd-desktop"), time.clock());  // only a mouse battery
    auto reading = source.read();
    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->battery, BatteryStats{});
    EXPECT_FALSE(reading->systemPower);

    LinuxPowerSource nowhere("/nonexistent/qm-root", time.clock());
    EXPECT_EQ(nowhere.read()->battery, BatteryStats{});
}

}  // namespace
}  // namespace qm
