#include <gtest/gtest.h>

#include "fmt/Fmt.h"
#include "knowledge/Insights.h"
#include "knowledge/Localized.h"

namespace qm {
namespace {

class InsightsTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US"); }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }

    static AppGroup group(std::string name, double cpu, uint64_t memory, std::optional<double> power = std::nullopt) {
        AppGroup g;
        g.id = "proc:" + name;
        g.name = std::move(name);
        g.cpu = cpu;
        g.memory = memory;
        g.power = power;
        return g;
    }

    // A calm 8-core machine at 30 % total CPU.
    static Snapshot machine(std::vector<AppGroup> groups) {
        Snapshot s;
        s.cpu.perCore.assign(8, 0.0);
        s.cpu.total = 30;
        s.groups = std::move(groups);
        return s;
    }
};

constexpr uint64_t GB = 1ull << 30;

TEST_F(InsightsTest, HeaviestWeighsWattsAndSkipsTheKernel) {
    Snapshot s = machine({group("kernel_task", 300, 1 * GB), group("Safari", 40, 2 * GB, 1.0),
                          group("Xcode", 60, 3 * GB), group("Music", 50, GB, 0.5)});
    // Safari 40 + 20 × 1 = 60 ties Xcode at 60 and comes first; Music 50 + 10 = 60 too.
    ASSERT_TRUE(Insights::heaviest(s));
    EXPECT_EQ(Insights::heaviest(s)->name, "Safari");
    EXPECT_EQ(Insights::biggest(s)->name, "Xcode");
    EXPECT_EQ(Insights::heaviest(machine({group("kernel_task", 300, GB)})), nullptr);
    AppGroup linuxKernel = group("Linux kernel", 300, GB);
    linuxKernel.id = "proc:kernel";
    EXPECT_EQ(Insights::heaviest(machine({linuxKernel})), nullptr);
    EXPECT_EQ(Insights::heaviest(machine({})), nullptr);
}

TEST_F(InsightsTest, StatusRulesApplyInOrder) {
    // 1: no groups, whatever the heat.
    Snapshot empty = machine({});
    empty.thermal.state = ThermalState::critical;
    EXPECT_EQ(Insights::status(empty),
              (Insights::Status{"Taking a first look…", "Measuring your Mac for a moment.", 0}));

    // 2 and 3: heat outranks everything else.
    Snapshot hot = machine({group("Blender", 700, GB)});
    hot.thermal.state = ThermalState::serious;
    hot.memory.pressureLevel = PressureLevel::critical;
    EXPECT_EQ(Insights::status(hot),
              (Insights::Status{"Your Mac is running hot.",
                                "Blender is working hardest (700% CPU). macOS is slowing down to cool off.", 2}));
    Snapshot hotKernelOnly = machine({group("kernel_task", 300, GB)});
    hotKernelOnly.thermal.state = ThermalState::critical;
    EXPECT_EQ(Insights::status(hotKernelOnly),
              (Insights::Status{"Your Mac is running hot.", "macOS is slowing down to cool off.", 2}));

    // 4: critical memory outranks a runaway app; the kernel can be the biggest.
    Snapshot critical = machine({group("kernel_task", 300, 5 * GB), group("Chrome", 500, 3 * GB)});
    critical.memory.pressureLevel = PressureLevel::critical;
    EXPECT_EQ(Insights::status(critical),
              (Insights::Status{"Memory is under heavy pressure.",
                                "kernel_task uses 5.0 GB. Quitting apps you're not using will help.", 2}));

    // 5: a runaway app outranks a memory warning.
    Snapshot busy = machine({group("Chrome", 401, 3 * GB), group("Mail", 1, 4 * GB)});
    busy.memory.pressureLevel = PressureLevel::warning;
    EXPECT_EQ(Insights::status(busy), (Insights::Status{"Chrome is keeping your Mac busy.",
                                                        "It's using 401% CPU, about 4 of your 8 cores.", 1}));
    // At exactly half the cores it is not a runaway: the memory warning speaks.
    busy.groups[0].cpu = 400;
    EXPECT_EQ(Insights::status(busy),
              (Insights::Status{"Memory is getting tight.", "Mail is the biggest user at 4.0 GB.", 1}));

    // 7: high total CPU with a heaviest group.
    Snapshot working = machine({group("make", 300, GB)});
    working.cpu.total = 61;
    EXPECT_EQ(Insights::status(working),
              (Insights::Status{"Your Mac is working hard.", "make is the busiest app right now.", 1}));
    // Total above 60 but only the kernel: rule 8 is skipped, rule 9 applies.
    Snapshot kernelBusy = machine({group("kernel_task", 300, GB)});
    kernelBusy.cpu.total = 90;
    EXPECT_EQ(Insights::status(kernelBusy),
              (Insights::Status{"All good. Your Mac is relaxed.",
                                "Nothing is working hard. kernel_task holds the most memory.", 0}));
}

TEST_F(InsightsTest, BusiestAppThresholdAndCoreCountBoundaries) {
    Snapshot s = machine({group("Slack", 16, GB), group("Finder", 1, 2 * GB)});
    EXPECT_EQ(Insights::status(s),
              (Insights::Status{"All good.", "Slack is your busiest app right now at 16% CPU.", 0}));
    s.groups[0].cpu = 15;
    EXPECT_EQ(Insights::status(s), (Insights::Status{"All good. Your Mac is relaxed.",
                                                     "Nothing is working hard. Finder holds the most memory.", 0}));
    s.cpu.total = 60;  // the boundary itself is still calm
    s.groups[0].cpu = 20;
    EXPECT_EQ(Insights::status(s).title, "All good.");

    // No per-core figures yet: the machine counts as one core, so 51 % is half of it.
    Snapshot oneCore = machine({group("yes", 51, GB)});
    oneCore.cpu.perCore.clear();
    EXPECT_EQ(Insights::status(oneCore).detail, "It's using 51% CPU, about 1 of your 1 cores.");
}

TEST_F(InsightsTest, ThermalLabelsAndPressureSentences) {
    EXPECT_EQ(Insights::thermalLabel(ThermalState::nominal).label, "Cool");
    EXPECT_EQ(Insights::thermalLabel(ThermalState::fair).tone, Insights::Tone::warn);
    EXPECT_EQ(Insights::thermalLabel(ThermalState::critical),
              (Insights::ThermalLabel{"Very hot", "Heavy throttling. Close demanding apps and give your Mac air.",
                                      Insights::Tone::bad}));
    EXPECT_EQ(Insights::thermalLabel(static_cast<ThermalState>(7)),
              (Insights::ThermalLabel{"Unknown", "", Insights::Tone::secondary}));
    // No temperature sensors: nothing to call cool; throttling still shows.
    ThermalStats noSensors;
    noSensors.hasSensors = false;
    EXPECT_EQ(Insights::thermalLabel(noSensors),
              (Insights::ThermalLabel{"No temperature sensors", "", Insights::Tone::secondary}));
    noSensors.state = ThermalState::fair;
    EXPECT_EQ(Insights::thermalLabel(noSensors).label, "Warm");
    EXPECT_EQ(Insights::thermalLabel(ThermalStats{}).label, "Cool");
    EXPECT_EQ(Insights::pressureExplanation(PressureLevel::normal),
              "macOS has room to spare. High \"used\" memory is fine: macOS keeps files cached so "
              "apps open faster.");
    EXPECT_EQ(Insights::levelSymbol(2), "exclamationmark.triangle.fill");
}

TEST(Localized, FillsSequentialAndPositionalPlaceholders) {
    EXPECT_EQ(fill("%@ uses %@.", {"Mail", "2 GB"}), "Mail uses 2 GB.");
    EXPECT_EQ(fill("%2$@ before %1$@", {"one", "two"}), "two before one");
    EXPECT_EQ(fill("%1$lld of %2$lld cores, 100%%", {"4", "8"}), "4 of 8 cores, 100%");
    // Missing values and stray percent signs never break the text.
    EXPECT_EQ(fill("%@ and %@ at 5% %9$@", {"a"}), "a and  at 5% ");
}

}  // namespace
}  // namespace qm

#include "knowledge/StatusChips.h"

namespace qm {
namespace {

TEST(StatusChips, FactsUnderTheStatusLine) {
    Fmt::setLocaleForTesting("en_US");
    Snapshot s;
    s.processCount = 412;
    s.groups.resize(37);
    s.uptime = 3 * 3600 + 7 * 60 + 30;
    s.memory.total = 16'400'000'000;  // what Linux shows of 16 GiB installed
    auto chips = statusChips(s, 0, "Apple M2", "macOS 14.4.1");
    ASSERT_EQ(chips.size(), 5u);
    EXPECT_EQ(chips[0].text, "412 processes → 37 apps");
    EXPECT_EQ(chips[1].text, "15 GB memory");
    EXPECT_EQ(chips[2], (StatusChip{"clock", "Up 3h 7m"}));
    EXPECT_EQ(chips[4].symbol, "apple.logo");
    // The installed size wins over the visible total; unknown names are left out.
    chips = statusChips(s, 16ull << 30, "", "");
    ASSERT_EQ(chips.size(), 3u);
    EXPECT_EQ(chips[1].text, "16 GB memory");
    s.uptime = 0;
    EXPECT_EQ(statusChips(s, 0, "", "")[2].text, "Up 0m");
    Fmt::setLocaleForTesting(nullptr);
}

}  // namespace
}  // namespace qm
