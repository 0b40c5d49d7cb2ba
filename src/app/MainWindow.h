// The main window: a sidebar of the seven sections and the page of the selected one,
// with the command palette over it on Ctrl+K (⌘K). While it is showing it puts "main"
// into the Monitor's demand set, so the sampler runs live; only the page on screen is
// refreshed.
#pragma once

#include <QMainWindow>
#include <map>

#include "app/AppContext.h"

class QListWidget;
class QStackedWidget;

namespace qm::app {

class SectionPage;
class PaletteOverlay;

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(AppContext& context, QWidget* parent = nullptr);
    ~MainWindow() override;

    // The page of a section, made on first use.
    SectionPage* page(Section section);
    SectionPage* currentPage() const { return current_; }
    PaletteOverlay* palette() const { return palette_; }

signals:
    void settingsRequested();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void showSection(Section section);
    void refreshCurrent();
    void syncPalette();
    void refreshSidebar();

    AppContext& context_;
    QListWidget* sidebar_ = nullptr;
    QStackedWidget* stack_ = nullptr;
    std::map<Section, SectionPage*> pages_;
    SectionPage* current_ = nullptr;
    PaletteOverlay* palette_ = nullptr;
    int monitorToken_ = 0;
    int uiToken_ = 0;
};

}  // namespace qm::app
