#include "app/widgets/StatusHeader.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <algorithm>

#include "app/widgets/Tones.h"
#include "fmt/PlatformWording.h"
#include "knowledge/Insights.h"
#include "knowledge/StatusChips.h"
#include "readers/MachineInfo.h"

namespace qm::app {

LevelBadge::LevelBadge(int diameter, QWidget* parent) : QWidget(parent) { setFixedSize(diameter, diameter); }

void LevelBadge::setLevel(int level) {
    if (level == level_) return;
    level_ = level;
    update();
}

void LevelBadge::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(1, 1, -1, -1);
    const QColor color = severityColor(level_);
    painter.setPen(Qt::NoPen);
    const double w = box.width();
    if (level_ >= 2) {
        QPainterPath triangle;
        triangle.moveTo(box.center().x(), box.top());
        triangle.lineTo(box.right(), box.bottom());
        triangle.lineTo(box.left(), box.bottom());
        triangle.closeSubpath();
        painter.fillPath(triangle, color);
    } else {
        painter.setBrush(color);
        painter.drawEllipse(box);
    }
    QPen pen(Qt::white, std::max(1.5, w / 9));
    pen.setCapStyle(Qt::RoundCap);
    painter.setPen(pen);
    const QPointF c = box.center();
    if (level_ <= 0) {
        painter.drawPolyline(QList<QPointF>{{c.x() - w * 0.22, c.y()},
                                            {c.x() - w * 0.05, c.y() + w * 0.18},
                                            {c.x() + w * 0.24, c.y() - w * 0.16}});
    } else {
        const double shift = level_ >= 2 ? w * 0.1 : 0;
        painter.drawLine(QPointF(c.x(), c.y() - w * 0.22 + shift), QPointF(c.x(), c.y() + w * 0.06 + shift));
        painter.drawPoint(QPointF(c.x(), c.y() + w * 0.22 + shift));
    }
}

StatusHeader::StatusHeader(bool large, QWidget* parent) : QWidget(parent), large_(large) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(large ? 8 : 4);
    auto* top = new QHBoxLayout;
    top->setSpacing(10);
    badge_ = new LevelBadge(large ? 34 : 22, this);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    title_ = new QLabel(this);
    title_->setObjectName("statusTitle");
    QFont titleFont = title_->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * (large ? 1.5 : 1.1));
    title_->setFont(titleFont);
    title_->setWordWrap(true);
    detail_ = new QLabel(this);
    detail_->setObjectName("statusDetail");
    detail_->setWordWrap(true);
    texts->addWidget(title_);
    texts->addWidget(detail_);
    top->addWidget(badge_, 0, Qt::AlignTop);
    top->addLayout(texts, 1);
    outer->addLayout(top);
    chipRows_ = new QVBoxLayout;
    chipRows_->setSpacing(6);
    outer->addLayout(chipRows_);
}

void StatusHeader::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (width() != flowedWidth_) flowChips();
}

void StatusHeader::flowChips() {
    flowedWidth_ = width();
    // Empty the rows, then fill them again in order, starting a new row where the next
    // chip would pass the right edge.
    while (QLayoutItem* row = chipRows_->takeAt(0)) {
        if (QLayout* inner = row->layout())
            while (QLayoutItem* item = inner->takeAt(0)) delete item;
        delete row;
    }
    QHBoxLayout* row = nullptr;
    int used = 0;
    const int room = std::max(1, width());
    for (QLabel* chip : chipLabels_) {
        if (chip->isHidden()) continue;
        const int wide = chip->sizeHint().width();
        if (!row || (used > 0 && used + 6 + wide > room)) {
            if (row) row->addStretch(1);
            row = new QHBoxLayout;
            row->setSpacing(6);
            chipRows_->addLayout(row);
            used = 0;
        }
        row->addWidget(chip);
        used += (used > 0 ? 6 : 0) + wide;
    }
    if (row) row->addStretch(1);
}

void StatusHeader::setSnapshot(const Snapshot& snapshot) {
    const Insights::Status status = Insights::status(snapshot);
    badge_->setLevel(status.level);
    title_->setText(QString::fromStdString(forThisPlatform(status.title)));
    detail_->setText(QString::fromStdString(forThisPlatform(status.detail)));
    detail_->setVisible(!status.detail.empty());

    const MachineInfo& machine = MachineInfo::current();
    auto chips = statusChips(snapshot, machine.memory, machine.chipName, machine.systemName());
    // The compact form has room for the first three: processes, memory, uptime.
    if (!large_ && chips.size() > 3) chips.resize(3);
    while (chipLabels_.size() < static_cast<qsizetype>(chips.size())) {
        auto* chip = new QLabel(this);
        chip->setObjectName("chip");
        // The rows are laid out again at each width; a chip must not hold the header
        // at the width of the row it sat in before.
        chip->setMinimumWidth(1);
        chip->setStyleSheet(
            "QLabel#chip { background: palette(alternate-base); border: 1px solid palette(mid);"
            " border-radius: 9px; padding: 1px 8px; }");
        chipLabels_.append(chip);
    }
    bool changed = false;
    for (qsizetype i = 0; i < chipLabels_.size(); ++i) {
        const bool used = i < static_cast<qsizetype>(chips.size());
        const QString text = used ? QString::fromStdString(forThisPlatform(chips[i].text)) : QString();
        changed = changed || chipLabels_[i]->isHidden() == used || chipLabels_[i]->text() != text;
        chipLabels_[i]->setVisible(used);
        chipLabels_[i]->setText(text);
    }
    if (changed) flowChips();  // the uptime chip changes once a minute, the rest rarely
}

QString StatusHeader::title() const { return title_->text(); }
QString StatusHeader::detail() const { return detail_->text(); }
int StatusHeader::level() const { return badge_->level(); }

QStringList StatusHeader::chips() const {
    QStringList texts;
    for (QLabel* chip : chipLabels_)
        if (!chip->isHidden()) texts << chip->text();
    return texts;
}

}  // namespace qm::app
