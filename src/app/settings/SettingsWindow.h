// The settings window: General, Menu bar, Alerts, Data and System access. Every
// control writes its key at once; the rest of the app follows through the settings'
// change notification, and a change made elsewhere (`quillmere config set`) shows
// here the next time a page is shown.
#pragma once

#include <QWidget>
#include <optional>

#include "app/AppContext.h"

class QTabWidget;

namespace qm::app {

class SettingsWindow : public QWidget {
    Q_OBJECT
public:
    explicit SettingsWindow(AppContext& context, QWidget* parent = nullptr);

    enum class Page { general, menuBar, alerts, data, systemAccess };
    void showPage(Page page);
    QWidget* page(Page page) const;

protected:
    void showEvent(QShowEvent* event) override;

private:
    QTabWidget* tabs_ = nullptr;
};

// Each page reads its keys again when shown (load) and writes them on every change.
class SettingsPage : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;
    virtual void load() = 0;
};

// The recorder's pid when another process records and its lock file names it (set
// once at launch; shown on the Data page).
std::optional<int>& otherRecorderPid();

SettingsPage* makeGeneralPage(AppContext& context, QWidget* parent);
SettingsPage* makeMenuBarPage(AppContext& context, QWidget* parent);
SettingsPage* makeAlertsPage(AppContext& context, QWidget* parent);
SettingsPage* makeDataPage(AppContext& context, QWidget* parent);
SettingsPage* makeSystemAccessPage(AppContext& context, QWidget* parent);

}  // namespace qm::app
