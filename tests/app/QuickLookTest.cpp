#include <gtest/gtest.h>

#include <QLabel>

#include "AppTestContext.h"
#include "app/MainWindow.h"
#include "app/quicklook/QuickLook.h"
#include "app/sections/SectionPage.h"
#include "app/widgets/Sparkline.h"
#include "app/widgets/StatusHeader.h"

namespace qm::app {
namespace {

Snapshot sample(double firefoxCPU) {
    Snapshot s;
    s.cpu.total = 30;
    s.cpu.perCore = {20, 40};
    s.memory.total = 8ull << 30;
    s.memory.app = 2ull << 30;
    s.processCount = 3;
    s.uptime = 3600;
    for (auto [id, name, cpu] :
         {std::tuple{"proc:firefox", "Firefox", firefoxCPU}, std::tuple{"proc:bash", "bash", 1.0}}) {
        AppGroup g;
        g.id = id;
        g.name = name;
        g.cpu = cpu;
        g.memory = 100 << 20;
        s.groups.push_back(g);
    }
    return s;
}

TEST(QuickLookTest, ShowsTheStatusFiguresAndBusiestAppsAndFollowsTheMonitor) {
    test::AppTestContext t;
    QuickLook look(t.context);
    EXPECT_EQ(look.header()->title().toStdString(), "Taking a first look\u2026");
    t.monitor->apply(sample(16));
    look.showBeside(QRect(500, 0, 22, 22));
    EXPECT_TRUE(look.isVisible());
    EXPECT_EQ(look.header()->title().toStdString(), "All good.");
    EXPECT_EQ(look.header()->level(), 0);
    EXPECT_TRUE(look.header()->chips().join("|").contains("processes"));
    EXPECT_EQ(look.busiestNames(), (QStringList{"Firefox", "bash"}));
    EXPECT_EQ(look.findChild<Sparkline*>("sparkCPU")->series().size(), 1u);

    t.monitor->apply(sample(2));  // the open quick look follows each snapshot
    EXPECT_EQ(look.findChild<Sparkline*>("sparkCPU")->series().size(), 2u);
    EXPECT_EQ(look.header()->title().toStdString(), "All good. Your computer is relaxed.");
    EXPECT_EQ(look.busiestNames(), (QStringList{"Firefox", "bash"}));
    look.toggle({});
    EXPECT_FALSE(look.isVisible());
}

TEST(OverviewTest, TheOverviewShowsTheSummaryLargerWithEveryPart) {
    test::AppTestContext t;
    MainWindow window(t.context);
    window.show();
    Snapshot s = sample(16);
    s.thermal.state = ThermalState::fair;
    s.thermal.socTemp = 71;
    t.monitor->apply(s);
    SectionPage* page = window.currentPage();
    ASSERT_EQ(page->section(), Section::overview);
    EXPECT_EQ(page->findChild<StatusHeader*>()->title().toStdString(), "All good.");
    EXPECT_EQ(page->findChild<QLabel*>("cpuValue")->text(), "30%");
    EXPECT_TRUE(page->findChild<QLabel*>("memoryValue")->text().startsWith("2.0 GB of 8.0 GB"));
    EXPECT_TRUE(page->findChild<QLabel*>("thermalValue")->text().startsWith("Warm"));
    EXPECT_FALSE(page->findChild<QLabel*>("battery")->text().isEmpty());
    window.hide();
}

}  // namespace
}  // namespace qm::app
