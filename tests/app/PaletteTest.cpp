#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>

#include "AppTestContext.h"
#include "app/MainWindow.h"
#include "app/palette/PaletteOverlay.h"

namespace qm::app {
namespace {

void press(QWidget* target, int key) {
    QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(target, &down);
}

void type(QLineEdit* field, const QString& text) {
    field->setText(text);
    emit field->textEdited(text);
}

TEST(PaletteTest, OpensOnTheSwitchFindsAndRunsWithTheKeys) {
    test::AppTestContext t;
    Snapshot s;
    for (auto [id, name, cpu] : {std::tuple{"proc:firefox", "Firefox", 40.0}, std::tuple{"proc:bash", "bash", 2.0}}) {
        AppGroup g;
        g.id = id;
        g.name = name;
        g.cpu = cpu;
        s.groups.push_back(g);
    }
    t.monitor->apply(s);
    MainWindow window(t.context);
    window.show();
    PaletteOverlay* palette = window.palette();
    EXPECT_FALSE(palette->isVisible());

    t.ui.setPaletteVisible(true);  // Ctrl+K
    ASSERT_TRUE(palette->isVisible());
    EXPECT_EQ(palette->field()->placeholderText(), "Search apps, processes or screens\u2026");
    // Empty query: the busiest apps, then the seven screens.
    ASSERT_EQ(palette->list()->count(), 9);
    EXPECT_TRUE(palette->list()->item(0)->text().startsWith("Firefox"));
    for (int i = 0; i < 12; ++i) press(palette->field(), Qt::Key_Down);  // no wrap-around
    EXPECT_EQ(palette->palette().highlighted(), 8u);
    EXPECT_EQ(palette->list()->currentRow(), 8);
    press(palette->field(), Qt::Key_Up);
    EXPECT_EQ(palette->palette().highlighted(), 7u);

    type(palette->field(), "  mem ");
    ASSERT_GE(palette->list()->count(), 1);
    EXPECT_TRUE(palette->list()->item(0)->text().startsWith("Memory"));
    press(palette->field(), Qt::Key_Up);  // already on the first row: stays
    EXPECT_EQ(palette->palette().highlighted(), 0u);
    press(palette->field(), Qt::Key_Return);
    EXPECT_FALSE(palette->isVisible());
    EXPECT_FALSE(t.ui.paletteVisible());
    EXPECT_EQ(t.ui.section(), Section::memory);

    // A group found by name opens in the apps section, selected.
    t.ui.setPaletteVisible(true);
    type(palette->field(), "bas");
    ASSERT_GE(palette->list()->count(), 1);
    EXPECT_TRUE(palette->list()->item(0)->text().startsWith("bash"));
    press(palette->field(), Qt::Key_Enter);
    EXPECT_EQ(t.ui.section(), Section::apps);
    EXPECT_EQ(t.ui.selectedGroup(), "proc:bash");

    // Escape closes without running anything.
    t.ui.show(Section::overview);
    t.ui.setPaletteVisible(true);
    type(palette->field(), "timeline");
    press(palette->field(), Qt::Key_Escape);
    EXPECT_FALSE(palette->isVisible());
    EXPECT_EQ(t.ui.section(), Section::overview);
    window.hide();
}

}  // namespace
}  // namespace qm::app
