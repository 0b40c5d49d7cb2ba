#include "app/MainWindow.h"

#include <QHBoxLayout>
#include <QListWidget>
#include <QStackedWidget>

#include "app/sections/SectionPage.h"

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
    for (Section section : allSections) sidebar_->addItem(QString::fromStdString(title(section)));
    stack_ = new QStackedWidget(central);
    layout->addWidget(sidebar_);
    layout->addWidget(stack_, 1);
    setCentralWidget(central);

    connect(sidebar_, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0 && row < static_cast<int>(allSections.size())) context_.ui->show(allSections[row]);
    });
    uiToken_ = context_.ui->observe([this] { showSection(context_.ui->section()); });
    monitorToken_ = context_.monitor->observe([this] { refreshCurrent(); });
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

void MainWindow::refreshCurrent() {
    if (current_ && isVisible()) current_->refresh();
}

void MainWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    context_.monitor->insertDemand(demandId);
    refreshCurrent();
}

void MainWindow::hideEvent(QHideEvent* event) {
    QMainWindow::hideEvent(event);
    context_.monitor->removeDemand(demandId);
}

}  // namespace qm::app
