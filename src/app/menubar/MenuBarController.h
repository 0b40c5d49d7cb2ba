// Owns the menu-bar (tray) item: installs and removes it with "menuBar.enabled" and
// onboarding, recomputes the label every 2 seconds and redraws it only when its lines
// or its alert form changed (a style change forces a redraw), and offers the
// right-click menu: "Open Quillmere", "Settings…", "Check for Updates…" (only when
// the updater runs), a separator, "Quit Quillmere".
#pragma once

#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>

#include "app/menubar/StatusItem.h"
#include "shell/MenuBarLabel.h"

class QMenu;
class QAction;

namespace qm {
class Defaults;
class Monitor;
}  // namespace qm

namespace qm::app {

class MenuBarController : public QObject {
    Q_OBJECT
public:
    // `updatesAvailable` says whether "Check for Updates…" belongs in the menu.
    MenuBarController(Monitor& monitor, Defaults& defaults, std::unique_ptr<StatusItem> item,
                      std::function<bool()> updatesAvailable, QObject* parent = nullptr);
    ~MenuBarController() override;

    static constexpr int updateMilliseconds = 2000;

    bool isInstalled() const { return installed_; }
    // Whether the installed item sits behind the display's camera housing, as of the
    // last label update (every 2 s while installed).
    bool hiddenByNotch() const { return hiddenByNotch_; }
    void install();
    void uninstall();
    // Recomputes the label; redraws when it changed, or always when forced.
    void updateLabel(bool force);

    StatusItem& item() { return *item_; }
    QMenu* menu() { return menu_.get(); }
    int redrawCount() const { return redraws_; }
    const std::optional<MenuBarLabel>& lastLabel() const { return lastLabel_; }

signals:
    void toggleRequested();
    void openRequested();
    void settingsRequested();
    void updatesRequested();
    void quitRequested();

private:
    void rebuildMenu();

    Monitor& monitor_;
    Defaults& defaults_;
    std::unique_ptr<StatusItem> item_;
    std::function<bool()> updatesAvailable_;
    std::unique_ptr<QMenu> menu_;
    QTimer timer_;
    MenuBarLabelUpdater updater_;
    std::optional<MenuBarLabel> lastLabel_;
    bool installed_ = false;
    bool hiddenByNotch_ = false;
    int redraws_ = 0;
};

}  // namespace qm::app
