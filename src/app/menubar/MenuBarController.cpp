#include "app/menubar/MenuBarController.h"

#include <QMenu>

#include "app/updates/UpdateCenter.h"
#include "core/Defaults.h"
#include "engine/Monitor.h"
#include "shell/MenuBarStyle.h"

namespace qm::app {

MenuBarController::MenuBarController(Monitor& monitor, Defaults& defaults, std::unique_ptr<StatusItem> item,
                                     std::function<bool()> updatesAvailable, QObject* parent)
    : QObject(parent),
      monitor_(monitor),
      defaults_(defaults),
      item_(std::move(item)),
      updatesAvailable_(std::move(updatesAvailable)),
      menu_(std::make_unique<QMenu>()) {
    // A coarse timer lets the system fold this wake-up in with others.
    timer_.setTimerType(Qt::CoarseTimer);
    timer_.setInterval(updateMilliseconds);
    connect(&timer_, &QTimer::timeout, this, [this] { updateLabel(false); });
    connect(item_.get(), &StatusItem::clicked, this, &MenuBarController::toggleRequested);
    // Built as it opens, so "Check for Updates…" follows the updater.
    connect(menu_.get(), &QMenu::aboutToShow, this, &MenuBarController::rebuildMenu);
    rebuildMenu();
    item_->setMenu(menu_.get());
}

MenuBarController::~MenuBarController() { uninstall(); }

void MenuBarController::rebuildMenu() {
    menu_->clear();
    menu_->addAction("Open Quillmere", this, &MenuBarController::openRequested);
    // Menu item that opens Quillmere settings
    menu_->addAction("Settings\u2026", this, &MenuBarController::settingsRequested);
    // A version the updater found while the program was in the background waits here
    // (the updater's gentle reminder) instead of a window appearing out of nowhere.
    if (updatesAvailable_ && updatesAvailable_()) {
        const auto& waiting = UpdateCenter::shared().state().availableVersion;
        menu_->addAction(waiting ? QString("Update to Version %1\u2026").arg(QString::fromStdString(*waiting))
                                 : QString("Check for Updates\u2026"),
                         this, &MenuBarController::updatesRequested);
    }
    menu_->addSeparator();
    menu_->addAction("Quit Quillmere", this, &MenuBarController::quitRequested);
}

void MenuBarController::install() {
    if (installed_) return;
    installed_ = true;
    item_->install();
    timer_.start();
    updateLabel(true);
}

void MenuBarController::uninstall() {
    if (!installed_) return;
    installed_ = false;
    timer_.stop();
    item_->uninstall();
}

void MenuBarController::updateLabel(bool force) {
    // Checked on every turn of the timer: the item moves when others come and go.
    hiddenByNotch_ = installed_ && item_->hiddenByNotch();
    auto label = updater_.update(monitor_.snapshot(), menuBarStyle(defaults_), force);
    if (!label) return;
    lastLabel_ = label;
    ++redraws_;
    item_->setLabel(*label);
}

}  // namespace qm::app
