#include "app/MainWindow.h"

#include <QAction>
#include <QEvent>
#include <QHBoxLayout>
#include <QListWidget>
#include <QStackedWidget>

#include "app/palette/PaletteOverlay.h"
#include "app/sections/SectionPage.h"
#include "app/widgets/SidebarDelegate.h"
#include "knowledge/ProcessLibrary.h"
#include "shell/SidebarFigures.h"

namespace qm::app {

namespace {
constexpr const char* demandId = "main";
}

MainWindow::MainWindow(AppContext& context, QWidget* parent) : QMainWindow(parent), context_(context) {
    setObjectName("main");
    setWindowTitle("Quillmere");
    resize(1100, 720);

    auto* central = new QWidget(this);
    auto* layout = new QHBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    sidebar_ = new QListWidget(central);
    sidebar_->setObjectName("sidebar");
    sidebar_->setFixedWidth(190);
    sidebar_->setAccessibleName("Sections");
    sidebar_->setItemDelegate(new SidebarDelegate(*context_.monitor, sidebar_));
    sidebar_->setFrameShape(QFrame::NoFrame);
    for (size_t i = 0; i < allSections.size(); ++i) {
        const Section section = allSections[i];
        const QString name = QString::fromStdString(title(section));
        auto* item = new QListWidgetItem(name, sidebar_);
        // Ctrl+1 … Ctrl+9 open the sections in their order (⌘1 … on a Mac).
        if (i < 9) {
            const QKeySequence keys(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + static_cast<int>(i)));
            item->setToolTip(QString("%1 (%2)").arg(name, keys.toString(QKeySequence::NativeText)));
            auto* go = new QAction(name, this);
            go->setShortcut(keys);
            connect(go, &QAction::triggered, this, [this, section] { context_.ui->show(section); });
            addAction(go);
        }
    }
    stack_ = new QStackedWidget(central);
    layout->addWidget(sidebar_);
    layout->addWidget(stack_, 1);
    setCentralWidget(central);

    palette_ = new PaletteOverlay(context_, ProcessLibrary::shared(), central);
    // Qt writes the Mac's ⌘ as Ctrl in key sequences, so one spelling serves both.
    auto* search = new QAction("Search", this);
    search->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_K));
    connect(search, &QAction::triggered, this,
            [this] { context_.ui->setPaletteVisible(!context_.ui->paletteVisible()); });
    addAction(search);
    auto* settings = new QAction("Settings\u2026", this);
    settings->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    connect(settings, &QAction::triggered, this, &MainWindow::settingsRequested);
    addAction(settings);

    connect(sidebar_, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0 && row < static_cast<int>(allSections.size())) context_.ui->show(allSections[row]);
    });
    uiToken_ = context_.ui->observe([this] {
        showSection(context_.ui->section());
        syncPalette();
    });
    monitorToken_ = context_.monitor->observe([this] {
        refreshCurrent();
        if (isVisible() && !isMinimized()) refreshSidebar();
        if (isVisible()) palette_->refresh();
    });
    showSection(context_.ui->section());
}

MainWindow::~MainWindow() {
    context_.monitor->removeObserver(monitorToken_);
    context_.ui->removeObserver(uiToken_);
    context_.monitor->removeDemand(demandId);
}

SectionPage* MainWindow::page(Section section) {
    if (auto found = pages_.find(section); found != pages_.end()) return found->second;
    SectionPage* made = makeSectionPage(section, context_, stack_);
    stack_->addWidget(made);
    pages_[section] = made;
    return made;
}

void MainWindow::showSection(Section section) {
    SectionPage* next = page(section);
    const int row = static_cast<int>(std::find(allSections.begin(), allSections.end(), section) - allSections.begin());
    if (sidebar_->currentRow() != row) sidebar_->setCurrentRow(row);
    if (next == current_) return;
    if (current_) current_->deactivated();
    current_ = next;
    stack_->setCurrentWidget(next);
    next->activated();
    next->refresh();
}

void MainWindow::refreshSidebar() {
    if (!context_.monitor->hasData()) return;
    const Snapshot& snapshot = context_.monitor->snapshot();
    for (int row = 0; row < sidebar_->count() && row < static_cast<int>(allSections.size()); ++row) {
        const auto figure = sidebarFigure(allSections[static_cast<size_t>(row)], snapshot);
        const QString text = figure ? QString::fromStdString(*figure) : QString();
        QListWidgetItem* item = sidebar_->item(row);
        if (item->data(SidebarDelegate::figureRole).toString() == text) {
            sidebar_->viewport()->update(sidebar_->visualItemRect(item));  // the trend moved
            continue;
        }
        item->setData(SidebarDelegate::figureRole, text);
        item->setData(Qt::AccessibleDescriptionRole, text);
    }
}

void MainWindow::syncPalette() {
    const bool wanted = context_.ui->paletteVisible();
    if (wanted && !palette_->isVisible())
        palette_->open();
    else if (!wanted && palette_->isVisible())
        palette_->dismiss();
}

void MainWindow::refreshCurrent() {
    if (current_ && isVisible() && !isMinimized()) current_->refresh();
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() != QEvent::WindowStateChange || !isVisible()) return;
    // A minimised window shows nothing: the sampler relaxes to its background pace and
    // the pages wait; restored, both pick up at once.
    if (isMinimized()) {
        context_.monitor->removeDemand(demandId);
    } else {
        context_.monitor->insertDemand(demandId);
        refreshCurrent();
    }
}

void MainWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    context_.monitor->insertDemand(demandId);
    refreshCurrent();
    refreshSidebar();
}

void MainWindow::hideEvent(QHideEvent* event) {
    QMainWindow::hideEvent(event);
    if (context_.ui->paletteVisible()) context_.ui->setPaletteVisible(false);
    context_.monitor->removeDemand(demandId);
}

}  // namespace qm::app
