// A machine with no temperature sensor, no battery and no power reading, busy: no
// screen and no event may pass a verdict that needs one of those figures.
#include <gtest/gtest.h>

#include <QRegularExpression>
#include <set>

#include "AppTestContext.h"
#include "SectionTestData.h"
#include "app/MainWindow.h"
#include "app/quicklook/QuickLook.h"
#include "app/sections/EnergyPage.h"
#include "app/sections/SectionPage.h"
#include "app/sections/SectionStyle.h"
#include "fmt/Fmt.h"
#include "fmt/PlatformWording.h"
#include "history/Energy.h"
#include "history/EventDetector.h"

namespace qm::app {
namespace {

constexpr uint64_t GiB = 1ull << 30;

Snapshot unmeasured(double date, uint64_t hogMemory) {
    Snapshot s;
    s.date = date;
    s.cpu.total = 96;
    s.cpu.perCore = {95, 97};
    s.memory = {8 * GiB, 5 * GiB, GiB / 2, 0, GiB, GiB + GiB / 2, 6 * GiB, 8 * GiB, 90, PressureLevel::critical};
    s.thermal.hasSensors = false;
    s.processCount = 3;
    s.uptime = 7200;
    s.groups = {test::group("proc:hog", "hog", ProcessKind::background, {test::process(10, "hog", 190, hogMemory)}),
                test::group("proc:tracker-miner-fs-3", "tracker-miner-fs-3", ProcessKind::background,
                            {test::process(11, "tracker-miner-fs-3", 80, GiB / 4)})};
    return s;
}

// Words that claim a figure this machine does not have.
void expectNoVerdict(const QString& text, const std::string& where) {
    EXPECT_FALSE(text.contains("Cool")) << where << ":\n" << text.toStdString();
    EXPECT_FALSE(text.contains("Sipping power")) << where << ":\n" << text.toStdString();
    EXPECT_FALSE(text.contains("drains battery")) << where << ":\n" << text.toStdString();
    EXPECT_FALSE(text.contains(QRegularExpression("(^|[^0-9.,])0 mWh"))) << where << ":\n" << text.toStdString();
}

TEST(AbsentFigures, NoScreenOrEventClaimsAFigureThatWasNotMeasured) {
    Fmt::setLocaleForTesting("en_US", "UTC");
    test::AppTestContext t;
    MainWindow window(t.context);
    window.show();
    t.monitor->apply(unmeasured(1000, GiB));

    for (Section section : {Section::overview, Section::energy, Section::sensors}) {
        t.ui.show(section);
        SectionPage* page = window.currentPage();
        ASSERT_EQ(page->section(), section);
        page->refresh();
        if (section == Section::energy) {
            // Today's totals as the history holds them without a power reading: CPU
            // time, and energy 0 for every app.
            auto* energyPage = static_cast<EnergyPage*>(page);
            energyPage->setTodayTotals({AppTotal{"proc:hog", "hog", 3600, 0, GiB, 0},
                                        AppTotal{"proc:tracker-miner-fs-3", "tracker-miner-fs-3", 900, 0, GiB / 4, 0}});
            const QString text = visibleText(page);
            EXPECT_TRUE(text.contains(QString::fromStdString(forThisPlatform(energy::noPowerSentence))))
                << text.toStdString();
            EXPECT_TRUE(text.contains("hog <b>not measured</b>")) << text.toStdString();
        }
        expectNoVerdict(visibleText(page), "section " + std::to_string(static_cast<int>(section)));
    }
    const QString overview = visibleText(window.page(Section::overview));
    EXPECT_TRUE(overview.contains("No temperature sensors")) << overview.toStdString();

    QuickLook look(t.context);
    look.showBeside(QRect(500, 0, 22, 22));
    expectNoVerdict(visibleText(&look), "quick look");
    look.toggle({});
    window.hide();

    // Every rule that can fire without a battery or a sensor, with its texts as the
    // timeline and the notifications show them.
    ManualClock clock{1'700'000'000};
    MemoryDefaults defaults;
    defaults.set("alert.highCPU.minutes", 1.0);
    EventDetector detector(&defaults, clock, IndexerSet::linuxDesktop());
    Snapshot calm = unmeasured(0, GiB);
    calm.memory.pressureLevel = PressureLevel::normal;
    calm.memory.swapUsed = 0;
    detector.process(calm);
    std::vector<TimelineEvent> events;
    for (int minute = 1; minute <= 40; ++minute) {
        clock.advance(60);
        Snapshot busy = unmeasured(clock.now(), GiB + static_cast<uint64_t>(minute) * 64 * (1 << 20));
        if (minute > 30) busy.thermal.state = ThermalState::serious;  // throttling, told by the kernel
        for (auto& e : detector.process(busy)) events.push_back(forThisPlatform(e));
    }
    std::set<EventKind> kinds;
    for (const auto& e : events) {
        kinds.insert(e.kind);
        expectNoVerdict(QString::fromStdString(e.title + "\n" + e.detail), "event " + e.title);
    }
    EXPECT_EQ(kinds, (std::set<EventKind>{EventKind::highCPU, EventKind::memoryGrowth, EventKind::memoryPressure,
                                          EventKind::thermal, EventKind::spotlight, EventKind::swap}));
    Fmt::setLocaleForTesting(nullptr);
}

}  // namespace
}  // namespace qm::app
