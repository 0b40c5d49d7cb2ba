#include "app/palette/PaletteOverlay.h"

#include <QDesktopServices>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

#include "engine/Monitor.h"
#include "fmt/PlatformWording.h"

namespace qm::app {

PaletteOverlay::PaletteOverlay(AppContext& context, const ProcessLibrary& library, QWidget* parent)
    : QWidget(parent), context_(context), library_(library) {
    setObjectName("palette");
    hide();
    box_ = new QWidget(this);
    box_->setObjectName("paletteBox");
    box_->setAutoFillBackground(true);
    box_->setStyleSheet("#paletteBox { border: 1px solid palette(mid); border-radius: 10px; }");
    auto* layout = new QVBoxLayout(box_);
    layout->setContentsMargins(10, 10, 10, 10);
    field_ = new QLineEdit(box_);
    field_->setObjectName("paletteField");
    field_->setPlaceholderText(QString::fromStdString(std::string(CommandPalette::placeholder)));
    QFont big = field_->font();
    big.setPointSizeF(big.pointSizeF() * 1.25);
    field_->setFont(big);
    list_ = new QListWidget(box_);
    list_->setObjectName("paletteList");
    list_->setFocusPolicy(Qt::NoFocus);
    layout->addWidget(field_);
    layout->addWidget(list_);
    field_->installEventFilter(this);

    connect(field_, &QLineEdit::textEdited, this, [this](const QString& text) {
        palette_.setQuery(text.toStdString(), context_.monitor->snapshot(), library_);
        rebuildList();
    });
    connect(list_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        const int row = list_->row(item);
        if (row < 0 || row >= static_cast<int>(palette_.results().size())) return;
        const auto action = CommandPalette::action(palette_.results()[static_cast<size_t>(row)]);
        dismiss();
        run(action);
    });
}

void PaletteOverlay::open() {
    palette_.open(context_.monitor->snapshot(), library_);
    field_->clear();
    rebuildList();
    setGeometry(parentWidget()->rect());
    const int boxWidth = std::min(560, std::max(320, width() - 80));
    box_->setGeometry((width() - boxWidth) / 2, 60, boxWidth, std::min(440, height() - 100));
    show();
    raise();
    field_->setFocus();
    if (!context_.ui->paletteVisible()) context_.ui->setPaletteVisible(true);
}

void PaletteOverlay::dismiss() {
    palette_.close();
    hide();
    if (context_.ui->paletteVisible()) context_.ui->setPaletteVisible(false);
}

void PaletteOverlay::refresh() {
    if (!isVisible()) return;
    palette_.update(context_.monitor->snapshot(), library_);
    rebuildList();
}

void PaletteOverlay::rebuildList() {
    list_->clear();
    for (const auto& item : palette_.results()) {
        auto* row = new QListWidgetItem(list_);
        row->setText(QString::fromStdString(forThisPlatform(item.title())) + "\n" +
                     QString::fromStdString(forThisPlatform(item.subtitle())));
    }
    if (!palette_.results().empty()) list_->setCurrentRow(static_cast<int>(palette_.highlighted()));
}

void PaletteOverlay::run(const CommandPalette::Action& action) {
    switch (action.kind) {
        case CommandPalette::Action::Kind::selectSection: context_.ui->show(action.section); break;
        case CommandPalette::Action::Kind::selectGroup: context_.ui->reveal(action.groupID); break;
        case CommandPalette::Action::Kind::openURL:
            if (!action.url.empty()) {
                emit urlRequested(QString::fromStdString(action.url));
                QDesktopServices::openUrl(QUrl(QString::fromStdString(action.url)));
            }
            break;
    }
}

bool PaletteOverlay::eventFilter(QObject* watched, QEvent* event) {
    if (watched == field_ && event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        switch (key->key()) {
            case Qt::Key_Down:
                palette_.moveDown();
                if (!palette_.results().empty()) list_->setCurrentRow(static_cast<int>(palette_.highlighted()));
                return true;
            case Qt::Key_Up:
                palette_.moveUp();
                if (!palette_.results().empty()) list_->setCurrentRow(static_cast<int>(palette_.highlighted()));
                return true;
            case Qt::Key_Return:
            case Qt::Key_Enter: {
                const auto action = palette_.submit();
                dismiss();
                if (action) run(*action);
                return true;
            }
            case Qt::Key_Escape: dismiss(); return true;
            default: break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void PaletteOverlay::mousePressEvent(QMouseEvent* event) {
    // A click outside the box closes the palette.
    QWidget::mousePressEvent(event);
    dismiss();
}

void PaletteOverlay::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), QColor(0, 0, 0, 90));
}

}  // namespace qm::app
