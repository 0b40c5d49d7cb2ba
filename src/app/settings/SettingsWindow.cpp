#include "app/settings/SettingsWindow.h"

#include <QTabWidget>
#include <QVBoxLayout>

#include "fmt/PlatformWording.h"

namespace qm::app {

SettingsWindow::SettingsWindow(AppContext& context, QWidget* parent) : QWidget(parent, Qt::Window) {
    setObjectName("settings");
    setWindowTitle("Quillmere Settings");
    auto* layout = new QVBoxLayout(this);
    tabs_ = new QTabWidget(this);
    tabs_->setDocumentMode(true);
    tabs_->addTab(makeGeneralPage(context, tabs_), "General");
    tabs_->addTab(makeMenuBarPage(context, tabs_), QString::fromStdString(forThisPlatform("Menu bar")));
    tabs_->addTab(makeAlertsPage(context, tabs_), "Alerts");
    tabs_->addTab(makeDataPage(context, tabs_), "Data");
    tabs_->addTab(makeSystemAccessPage(context, tabs_), "System access");
    layout->addWidget(tabs_);
    connect(tabs_, &QTabWidget::currentChanged, this, [this](int index) {
        if (auto* shown = qobject_cast<SettingsPage*>(tabs_->widget(index))) shown->load();
    });
    resize(640, 520);
}

std::optional<int>& otherRecorderPid() {
    static std::optional<int> pid;
    return pid;
}

void SettingsWindow::showPage(Page page) { tabs_->setCurrentIndex(static_cast<int>(page)); }

QWidget* SettingsWindow::page(Page page) const { return tabs_->widget(static_cast<int>(page)); }

void SettingsWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (auto* shown = qobject_cast<SettingsPage*>(tabs_->currentWidget())) shown->load();
}

}  // namespace qm::app
