#include <gtest/gtest.h>

#include "AppTestContext.h"
#include "app/MainWindow.h"
#include "app/sections/SectionPage.h"

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

    EXPECT_FALSE(t.monitor->demand().contains("main"));
    window.show();
    EXPECT_TRUE(t.monitor->demand().contains("main"));
    window.hide();
    EXPECT_FALSE(t.monitor->demand().contains("main"));
}

}  // namespace
}  // namespace qm::app
