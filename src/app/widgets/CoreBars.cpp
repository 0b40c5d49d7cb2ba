#include "app/widgets/CoreBars.h"

#include <QPainter>
#include <algorithm>

#include "app/widgets/Tones.h"

namespace qm::app {

CoreBars::CoreBars(QWidget* parent) : QWidget(parent) {
    setMinimumHeight(40);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void CoreBars::setValues(const std::vector<double>& percents) {
    if (percents == values_) return;
    values_ = percents;
    update();
}

void CoreBars::paintEvent(QPaintEvent*) {
    if (values_.empty()) return;
    QPainter painter(this);
    const QRectF box = QRectF(rect()).adjusted(1, 1, -1, -1);
    const double gap = 2;
    const double width = std::max(2.0, (box.width() - gap * static_cast<double>(values_.size() - 1)) /
                                           static_cast<double>(values_.size()));
    QColor track = cpuColor();
    track.setAlpha(30);
    for (size_t i = 0; i < values_.size(); ++i) {
        const double x = box.left() + static_cast<double>(i) * (width + gap);
        painter.fillRect(QRectF(x, box.top(), width, box.height()), track);
        const double share = std::clamp(values_[i] / 100.0, 0.0, 1.0);
        const double h = share * box.height();
        painter.fillRect(QRectF(x, box.bottom() - h, width, h), cpuColor());
    }
}

}  // namespace qm::app
