// The command palette over the main window (Ctrl+K, ⌘K on a Mac): a search field and
// the results of CommandPalette, the highlighted row marked. Down and Up move the
// highlight without wrapping, Return runs the highlighted row, Escape or a click
// outside the box closes it. Shown while the selection state's palette switch is on.
#pragma once

#include <QWidget>

#include "app/AppContext.h"
#include "knowledge/CommandPalette.h"

class QLineEdit;
class QListWidget;

namespace qm::app {

class PaletteOverlay : public QWidget {
    Q_OBJECT
public:
    // Covers `parent` (the main window's central area) while it shows.
    PaletteOverlay(AppContext& context, const ProcessLibrary& library, QWidget* parent);

    void open();
    void dismiss();
    // The palette follows new snapshots while open.
    void refresh();

    const CommandPalette& palette() const { return palette_; }
    QLineEdit* field() const { return field_; }
    QListWidget* list() const { return list_; }

signals:
    void urlRequested(const QString& url);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void rebuildList();
    void run(const CommandPalette::Action& action);

    AppContext& context_;
    const ProcessLibrary& library_;
    CommandPalette palette_;
    QWidget* box_ = nullptr;
    QLineEdit* field_ = nullptr;
    QListWidget* list_ = nullptr;
};

}  // namespace qm::app
