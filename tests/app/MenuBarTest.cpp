#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>

#include "AppTestContext.h"
#include "FakeStatusItem.h"
#include "app/menubar/MenuBarController.h"
#include "app/menubar/MenuBarRenderer.h"

namespace qm::app {
namespace {

Snapshot busySnapshot(double cpu) {
    Snapshot s;
    s.cpu.total = cpu;
    s.memory.total = 16ull << 30;
    s.memory.app = 4ull << 30;
    s.thermal.socTemp = 61;
    s.systemPower = 7.5;
    return s;
}

struct MenuBarFixture {
    test::AppTestContext t;
    test::FakeStatusItem* item = new test::FakeStatusItem;
    bool updates = false;
    MenuBarController controller{*t.monitor, t.defaults, std::unique_ptr<StatusItem>(item), [this] { return updates; }};
};

TEST(MenuBarControllerTest, LabelPerStyleAndRedrawOnlyOnChange) {
    MenuBarFixture f;
    f.t.monitor->apply(busySnapshot(37));
    f.controller.install();
    ASSERT_TRUE(f.item->installed());
    ASSERT_EQ(f.controller.redrawCount(), 1);                                 // installing draws at once
    EXPECT_EQ(f.item->labels.back().lines, std::vector<std::string>{"37%"});  // unset style: the CPU figure

    const std::vector<std::pair<const char*, std::vector<std::string>>> styles{
        {"icon", {}},         {"cpu", {"37%"}}, {"cpuMemory", {"CPU 37%", "MEM 25%"}}, {"temperature", {"61°"}},
        {"power", {"7.5 W"}},
    };
    for (const auto& [raw, lines] : styles) {
        f.t.defaults.set("menuBar.style", std::string(raw));
        f.controller.updateLabel(true);  // a style change forces a redraw
        EXPECT_EQ(f.item->labels.back().lines, lines) << raw;
        EXPECT_FALSE(f.item->labels.back().alert);
        EXPECT_EQ(f.item->labels.back().tooltip, "Quillmere: CPU 37%, memory normal");
    }

    // The timer's updates: the same figures never redraw, a new figure or the alert does.
    f.t.defaults.set("menuBar.style", std::string("cpu"));
    f.controller.updateLabel(true);
    const int drawn = f.controller.redrawCount();
    f.controller.updateLabel(false);
    f.t.monitor->apply(busySnapshot(37));
    f.controller.updateLabel(false);
    EXPECT_EQ(f.controller.redrawCount(), drawn);
    f.t.monitor->apply(busySnapshot(38));
    f.controller.updateLabel(false);
    EXPECT_EQ(f.controller.redrawCount(), drawn + 1);
    Snapshot hot = busySnapshot(38);
    hot.thermal.state = ThermalState::serious;
    f.t.monitor->apply(hot);
    f.controller.updateLabel(false);
    EXPECT_EQ(f.controller.redrawCount(), drawn + 2);
    EXPECT_TRUE(f.item->labels.back().alert);
    Snapshot fair = busySnapshot(38);
    fair.thermal.state = ThermalState::fair;
    f.t.monitor->apply(fair);
    f.controller.updateLabel(false);
    EXPECT_FALSE(f.item->labels.back().alert);

    f.controller.uninstall();
    EXPECT_FALSE(f.item->installed());
}

TEST(MenuBarControllerTest, MenuHasItsItemsInOrderAndUpdatesOnlyWhenOffered) {
    MenuBarFixture f;
    auto titles = [&] {
        emit f.controller.menu()->aboutToShow();
        QStringList texts;
        for (QAction* action : f.controller.menu()->actions()) texts << (action->isSeparator() ? "-" : action->text());
        return texts;
    };
    EXPECT_EQ(f.item->menu, f.controller.menu());
    EXPECT_EQ(titles(), (QStringList{"Open Quillmere", "Settings\u2026", "-", "Quit Quillmere"}));
    f.updates = true;
    EXPECT_EQ(titles(),
              (QStringList{"Open Quillmere", "Settings\u2026", "Check for Updates\u2026", "-", "Quit Quillmere"}));

    int quits = 0;
    QObject::connect(&f.controller, &MenuBarController::quitRequested, [&] { ++quits; });
    titles();
    f.controller.menu()->actions().back()->trigger();
    EXPECT_EQ(quits, 1);
}

TEST(MenuBarRendererTest, AlertFormIsRedAndFiguresFillTheTraySquare) {
    auto reddish = [](const QImage& image) {
        int count = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QColor c = image.pixelColor(x, y);
                if (c.alpha() > 200 && c.red() > 180 && c.green() < 90 && c.blue() < 90) ++count;
            }
        return count;
    };
    const QImage calm = MenuBarRenderer::trayImage({}, false);
    const QImage alert = MenuBarRenderer::trayImage({}, true);
    EXPECT_EQ(calm.size(), QSize(64, 64));
    EXPECT_EQ(reddish(calm), 0);
    EXPECT_GT(reddish(alert), 20);
    EXPECT_GT(reddish(MenuBarRenderer::trayImage({"37%"}, true)), 500);  // the whole plate turns red

    // The wide label grows with its text; the glyph alone stays narrow.
    const QImage glyph = MenuBarRenderer::image({}, false);
    const QImage two = MenuBarRenderer::image({"CPU 100%", "MEM 100%"}, false);
    EXPECT_GT(two.width(), glyph.width() * 2);
    EXPECT_EQ(two.height(), glyph.height());
}

}  // namespace
}  // namespace qm::app
