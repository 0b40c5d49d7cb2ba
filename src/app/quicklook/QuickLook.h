// The quick look: a small window beside the tray icon with the status line, CPU,
// memory and power with their sparklines, the five busiest apps and the last events.
// It closes when it loses focus, like a popover. While it shows it puts "popover"
// into the Monitor's demand set, so figures arrive at the live rate.
#pragma once

#include <QElapsedTimer>
#include <QFrame>
#include <array>

#include "app/AppContext.h"

class QLabel;
class QGridLayout;
class QVBoxLayout;

namespace qm::app {

class Sparkline;
class StatusHeader;

class QuickLook : public QFrame {
    Q_OBJECT
public:
    explicit QuickLook(AppContext& context, QWidget* parent = nullptr);
    ~QuickLook() override;

    // Opens beside `anchor` (the tray icon's place; the pointer when empty), or closes.
    void toggle(const QRect& anchor);
    void showBeside(const QRect& anchor);
    void refresh();

    StatusHeader* header() const { return header_; }
    QStringList busiestNames() const;

signals:
    void openRequested();                     // "Open Quillmere"
    void groupRequested(const QString& key);  // a click on one of the busiest apps

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool event(QEvent* event) override;

private:
    AppContext& context_;
    StatusHeader* header_ = nullptr;
    std::array<QLabel*, 3> figureValues_{};
    std::array<Sparkline*, 3> sparklines_{};
    QVBoxLayout* appsBox_ = nullptr;
    QVBoxLayout* eventsBox_ = nullptr;
    QLabel* noEvents_ = nullptr;
    QStringList busiest_;
    int monitorToken_ = 0;
    // A click on the tray icon first takes the focus away (closing this window) and
    // then arrives as a toggle: that toggle must not reopen it at once.
    QElapsedTimer closedByFocusLoss_;
};

}  // namespace qm::app
