#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QRadioButton>

#include "AppTestContext.h"
#include "app/settings/SettingsWindow.h"

namespace qm::app {
namespace {

template <typename T>
T* find(QWidget* page, const char* name) {
    T* found = page->findChild<T*>(name);
    EXPECT_NE(found, nullptr) << name;
    return found;
}

TEST(SettingsWindowTest, PagesWriteTheirKeysAndReadChangesBack) {
    test::AppTestContext t;
    SettingsWindow window(t.context);
    using Page = SettingsWindow::Page;

    QWidget* general = window.page(Page::general);
    auto* interval = find<QComboBox>(general, "refreshInterval");
    EXPECT_EQ(interval->currentText(), "2 seconds");  // unset reads as the default
    emit interval->activated(0);
    EXPECT_EQ(t.defaults.doubleValue("refresh.interval"), 1.0);
    auto* keep = find<QCheckBox>(general, "keepRunning");
    EXPECT_EQ(keep->text(), "Keep running in the system tray when you press Ctrl+Q");
    EXPECT_TRUE(keep->isChecked());
    keep->click();
    EXPECT_EQ(t.defaults.value("quit.keepRunningInMenuBar"), SettingValue(false));
    find<QCheckBox>(general, "windowAtLaunch")->click();
    EXPECT_EQ(t.defaults.value("window.atLaunch"), SettingValue(false));
    EXPECT_EQ(general->findChild<QCheckBox*>("showInDock"), nullptr);  // no Dock on Linux
    for (QLabel* label : general->findChildren<QLabel*>()) EXPECT_EQ(label->text().indexOf("Mac"), -1);

    // A change made elsewhere shows when the window is shown again.
    t.defaults.set("refresh.interval", 5.0);
    window.show();
    EXPECT_EQ(interval->currentText(), "5 seconds");

    window.showPage(Page::menuBar);
    QWidget* menuBar = window.page(Page::menuBar);
    find<QRadioButton>(menuBar, "style_cpuMemory")->click();
    EXPECT_EQ(t.defaults.stringValue("menuBar.style"), "cpuMemory");
    EXPECT_EQ(find<QRadioButton>(menuBar, "style_icon")->text(), "Icon only");
    find<QCheckBox>(menuBar, "menuBarEnabled")->click();
    EXPECT_EQ(t.defaults.value("menuBar.enabled"), SettingValue(true));

    window.showPage(Page::alerts);
    QWidget* alerts = window.page(Page::alerts);
    auto* highCPU = find<QCheckBox>(alerts, "alert.highCPU");
    EXPECT_EQ(highCPU->text(), "An app runs away with the CPU");
    EXPECT_TRUE(highCPU->isChecked());  // on when absent
    highCPU->click();
    EXPECT_EQ(t.defaults.value("alert.highCPU"), SettingValue(false));
    EXPECT_EQ(find<QCheckBox>(alerts, "alert.thermal")->text().indexOf("Mac"), -1);
    auto* threshold = find<QDoubleSpinBox>(alerts, "cpuThreshold");
    EXPECT_EQ(threshold->value(), 90.0);
    threshold->setValue(150);
    emit threshold->editingFinished();
    EXPECT_EQ(t.defaults.doubleValue("alert.highCPU.threshold"), 150.0);
    auto* minutes = find<QDoubleSpinBox>(alerts, "cpuMinutes");
    EXPECT_EQ(minutes->value(), 3.0);
    minutes->setValue(5);
    emit minutes->editingFinished();
    EXPECT_EQ(t.defaults.doubleValue("alert.highCPU.minutes"), 5.0);

    window.showPage(Page::data);
    t.context.recording = false;
    otherRecorderPid() = 777;
    window.showPage(Page::general);
    window.showPage(Page::data);
    EXPECT_NE(find<QLabel>(window.page(Page::data), "recorder")->text().indexOf("pid 777"), -1);

    otherRecorderPid().reset();
    window.showPage(Page::systemAccess);
    EXPECT_FALSE(find<QLabel>(window.page(Page::systemAccess), "helperStatus")->text().isEmpty());
    window.hide();
}

}  // namespace
}  // namespace qm::app
