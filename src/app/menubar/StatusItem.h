// The platform's menu-bar or tray item as the controller sees it: a place for the
// rendered label and its tooltip that reports clicks. On Linux a QSystemTrayIcon
// (StatusNotifierItem or an XEmbed tray); on a Mac a native status item that can be
// as wide as its label.
#pragma once

#include <QObject>
#include <QRect>
#include <memory>

#include "shell/MenuBarLabel.h"

class QMenu;

namespace qm::app {

class StatusItem : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Whether the desktop has somewhere to show the item at all.
    virtual bool hostAvailable() const = 0;
    virtual void install() = 0;
    virtual void uninstall() = 0;
    virtual bool installed() const = 0;
    // Draws the label and sets its tooltip.
    virtual void setLabel(const MenuBarLabel& label) = 0;
    // The right-click menu (the item does not own it).
    virtual void setMenu(QMenu* menu) = 0;
    // Where the item is on screen; empty when the platform does not say.
    virtual QRect geometry() const = 0;
    // Whether the item sits where the display's camera housing hides it (a Mac's
    // notch); false where there is no such thing.
    virtual bool hiddenByNotch() const { return false; }

signals:
    // A left click (or the hot key): toggle the quick look.
    void clicked();
};

// This platform's item (linux/ or darwin/).
std::unique_ptr<StatusItem> makePlatformStatusItem();

}  // namespace qm::app
