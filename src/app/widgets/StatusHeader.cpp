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
    detail_ = new QLabel(this);
    detail_->setObjectName("statusDetail");
    detail_->setWordWrap(true);
    texts->addWidget(title_);
    texts->addWidget(detail_);
    top->addWidget(badge_, 0, Qt::AlignTop);
    top->addLayout(texts, 1);
    outer->addLayout(top);
    chipRow_ = new QHBoxLayout;
    chipRow_->setSpacing(6);
    chipRow_->addStretch(1);
    outer->addLayout(chipRow_);
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
        chip->setStyleSheet(
            "QLabel#chip { background: palette(alternate-base); border: 1px solid palette(mid);"
            " border-radius: 9px; padding: 1px 8px; }");
        chipRow_->insertWidget(static_cast<int>(chipLabels_.size()), chip);
        chipLabels_.append(chip);
    }
    for (qsizetype i = 0; i < chipLabels_.size(); ++i) {
        const bool used = i < static_cast<qsizetype>(chips.size());
        chipLabels_[i]->setVisible(used);
        if (used) chipLabels_[i]->setText(QString::fromStdString(forThisPlatform(chips[i].text)));
    }
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
