// The Linux tray item: a QSystemTrayIcon whose icon is the rendered label. Qt talks
// StatusNotifierItem to KDE (and to GNOME with the AppIndicator extension) and
// XEmbed to other trays; both give a square slot, so the label is drawn square.
#include <QIcon>
#include <QMenu>
#include <QPixmap>
#include <QSystemTrayIcon>

#include "app/menubar/MenuBarRenderer.h"
#include "app/menubar/StatusItem.h"

namespace qm::app {

namespace {

class TrayStatusItem : public StatusItem {
public:
    TrayStatusItem() {
        connect(&tray_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) emit clicked();
        });
        tray_.setIcon(QIcon(QPixmap::fromImage(MenuBarRenderer::trayImage({}, false))));
    }

    bool hostAvailable() const override { return QSystemTrayIcon::isSystemTrayAvailable(); }
    void install() override { tray_.show(); }
    void uninstall() override { tray_.hide(); }
    bool installed() const override { return tray_.isVisible(); }
    void setLabel(const MenuBarLabel& label) override {
        tray_.setIcon(QIcon(QPixmap::fromImage(MenuBarRenderer::trayImage(trayLines(label), label.alert))));
        tray_.setToolTip(QString::fromStdString(label.tooltip));
    }
    void setMenu(QMenu* menu) override { tray_.setContextMenu(menu); }
    QRect geometry() const override { return tray_.geometry(); }

private:
    QSystemTrayIcon tray_;
};

}  // namespace

std::unique_ptr<StatusItem> makePlatformStatusItem() { return std::make_unique<TrayStatusItem>(); }

}  // namespace qm::app
