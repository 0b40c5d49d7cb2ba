#include <gtest/gtest.h>

#include <QAction>

#include "AppTestContext.h"
#include "app/MainWindow.h"
#include "app/sections/SectionPage.h"
#include "app/sections/SectionStyle.h"

namespace qm::app {
namespace {

TEST(MainWindowTest, SelectionStateDrivesTheShownSectionAndShowingGoesLive) {
    test::AppTestContext t;
    MainWindow window(t.context);
    EXPECT_EQ(window.currentPage()->section(), Section::overview);

    // Revealing a group (the palette, a notification's "Show") switches to the apps page.
    t.ui.reveal("proc:bash");
    EXPECT_EQ(window.currentPage()->section(), Section::apps);
    t.ui.show(Section::timeline);
    EXPECT_EQ(window.currentPage()->section(), Section::timeline);
    EXPECT_EQ(window.page(Section::timeline), window.currentPage()) << "pages are made once and kept";
    // Ctrl+1 … Ctrl+7 open the sections in the sidebar's order.
    for (QAction* action : window.actions())
        if (action->shortcut() == QKeySequence(Qt::CTRL | Qt::Key_3)) action->trigger();
    EXPECT_EQ(window.currentPage()->section(), allSections[2]);

    EXPECT_FALSE(t.monitor->demand().contains("main"));
    window.show();
    EXPECT_TRUE(t.monitor->demand().contains("main"));
    window.hide();
    EXPECT_FALSE(t.monitor->demand().contains("main"));
}

TEST(MainWindowTest, AMinimisedWindowRelaxesTheSamplerAndItsPageCatchesUpWhenRestored) {
    test::AppTestContext t;
    Snapshot s;
    s.date = 1000;
    s.memory.total = 1u << 30;
    s.uptime = 60;
    t.monitor->apply(s);
    MainWindow window(t.context);
    window.show();
    t.ui.show(Section::memory);
    window.setWindowState(Qt::WindowMinimized);
    EXPECT_FALSE(t.monitor->demand().contains("main"));
    const QString before = visibleText(window.currentPage());
    s.uptime = 7200;
    s.memory.app = 1u << 29;
    t.monitor->apply(s);
    EXPECT_EQ(visibleText(window.currentPage()), before) << "nothing is redrawn while minimised";
    window.setWindowState(Qt::WindowNoState);
    EXPECT_TRUE(t.monitor->demand().contains("main"));
    EXPECT_NE(visibleText(window.currentPage()), before) << "restored, the page shows the latest figures";
}

}  // namespace
}  // namespace qm::app
