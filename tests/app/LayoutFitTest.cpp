// Every visible label of the sections fits its text (or elides it on purpose with a
// tooltip) in a narrow, the default and a wide window: nothing is cut.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QTextDocument>

#include "AppTestContext.h"
#include "SectionTestData.h"
#include "app/MainWindow.h"
#include "app/sections/SectionPage.h"
#include "fmt/Fmt.h"

namespace qm::app {
namespace {

constexpr uint64_t GB = 1ull << 30;

Snapshot busyMachine() {
    Snapshot s;
    s.date = 1'700'000'000;
    s.cpu.total = 87;
    s.cpu.user = 70;
    s.cpu.system = 17;
    s.cpu.perCore.assign(16, 87);
    s.cpu.load = {12.5, 9.25, 7.75};
    s.memory = {.total = 64 * GB,
                .app = 41 * GB,
                .wired = 6 * GB,
                .compressed = 3 * GB,
                .cached = 12 * GB,
                .free = 2 * GB,
                .swapUsed = 3 * GB,
                .swapTotal = 8 * GB,
                .pressure = 55};
    s.systemPower = 48.5;
    s.network = {.rxRate = 987.6e6, .txRate = 876.5e6, .rxTotal = 123'456'789'012, .txTotal = 98'765'432'109};
    s.disk = {.readRate = 1.9e9, .writeRate = 1.8e9, .totalSpace = 4'000 * GB, .freeSpace = 1'234 * GB};
    s.battery.present = true;
    s.battery.percent = 57;
    s.battery.minutesRemaining = 187;
    s.battery.healthPercent = 91;
    s.battery.cycleCount = 412;
    s.thermal.socTemp = 88.5;
    s.thermal.sensors = {{"Package id 0", 88.5, SensorReading::Group::cpu},
                         {"Composite", 61, SensorReading::Group::storage}};
    s.groups = {
        test::group("app:/usr/share/applications/org.mozilla.firefox.desktop",
                    "Firefox Web Browser with a rather long name: org.mozilla.firefox.WebBrowser.NightlyChannel",
                    ProcessKind::app,
                    {test::process(100, "firefox-esr", 140, 3 * GB), test::process(101, "Isolated Web Co", 35, GB)}),
        test::group("proc:cc1plus", "cc1plus", ProcessKind::background, {test::process(200, "cc1plus", 99, GB)})};
    s.processCount = 3;
    return s;
}

// What a person would see cut: a label narrower than its one line, or shorter than its
// wrapped lines, with no tooltip to give the rest.
std::vector<std::string> cutLabels(QWidget* root) {
    std::vector<std::string> cut;
    for (QLabel* label : root->findChildren<QLabel*>()) {
        if (!label->isVisibleTo(root) || label->text().isEmpty() || !label->pixmap().isNull()) continue;
        if (!label->toolTip().isEmpty()) continue;
        const QString text =
            Qt::mightBeRichText(label->text())
                ? [&] {
            QTextDocument document;
            document.setHtml(label->text());
            return document.toPlainText();
            }()
            : label->text();
        const QFontMetrics metrics(label->font());
        const QRect room = label->contentsRect();
        const bool fits = label->wordWrap() ? label->heightForWidth(room.width()) <= room.height() + 1
                                            : metrics.horizontalAdvance(text) <= room.width() + 1;
        if (!fits)
            cut.push_back(text.left(60).toStdString() + " (" + std::to_string(room.width()) + "x" +
                          std::to_string(room.height()) + ")");
    }
    for (QAbstractScrollArea* area : root->findChildren<QAbstractScrollArea*>())
        if (area->isVisibleTo(root) && area->horizontalScrollBar()->isVisible())
            cut.push_back("sideways scrolling in " + area->objectName().toStdString() + " (" +
                          std::to_string(area->horizontalScrollBar()->maximum()) + " px more)");
    for (QAbstractButton* button : root->findChildren<QAbstractButton*>()) {
        if (!button->isVisibleTo(root) || button->text().isEmpty() || !button->toolTip().isEmpty()) continue;
        if (button->sizeHint().width() > button->width() + 1) cut.push_back("button " + button->text().toStdString());
    }
    return cut;
}

TEST(LayoutFitTest, NoLabelIsCutInANarrowTheDefaultOrAWideWindow) {
    Fmt::setLocaleForTesting("en_US", "UTC");
    test::AppTestContext t;
    t.monitor->apply(busyMachine());
    // One window, shrunk step by step as a person would, after an app is selected.
    MainWindow window(t.context);
    window.show();
    t.ui.selectGroup("app:/usr/share/applications/org.mozilla.firefox.desktop", std::nullopt);
    for (QSize size : {QSize(1920, 1080), QSize(1100, 720), QSize(800, 500)}) {
        window.resize(size);
        for (Section section : {Section::overview, Section::apps, Section::memory, Section::energy, Section::sensors,
                                Section::network, Section::timeline}) {
            t.ui.show(section);
            for (int turn = 0; turn < 3; ++turn) QApplication::processEvents();
            for (const std::string& label : cutLabels(window.currentPage()))
                ADD_FAILURE() << title(section) << " at " << size.width() << "x" << size.height() << ": " << label;
        }
    }
    window.hide();
    Fmt::setLocaleForTesting(nullptr);
}

// Every control a keyboard can reach carries a name a screen reader can say.
TEST(LayoutFitTest, EveryControlOfEverySectionHasAnAccessibleName) {
    Fmt::setLocaleForTesting("en_US", "UTC");
    test::AppTestContext t;
    t.monitor->apply(busyMachine());
    MainWindow window(t.context);
    window.resize(1100, 720);
    window.show();
    for (Section section : allSections) {
        t.ui.show(section);
        QApplication::processEvents();
        for (QWidget* widget : window.findChildren<QWidget*>()) {
            if (!widget->isVisible() || !(widget->focusPolicy() & Qt::TabFocus) || !widget->isEnabled()) continue;
            if (widget->parentWidget() && qobject_cast<QAbstractScrollArea*>(widget->parentWidget())) continue;
            QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(widget);
            ASSERT_NE(accessible, nullptr);
            EXPECT_FALSE(accessible->text(QAccessible::Name).trimmed().isEmpty())
                << title(section) << ": a " << widget->metaObject()->className() << " named \""
                << widget->objectName().toStdString() << "\" has no accessible name";
        }
    }
    window.hide();
    Fmt::setLocaleForTesting(nullptr);
}

}  // namespace
}  // namespace qm::app
