#include "app/widgets/SparklineWidget.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>

namespace qm::app {

Sparkline::Sparkline(QColor color, QWidget* parent) : QWidget(parent), color_(color) {
    setMinimumSize(60, 20);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void Sparkline::setSeries(const std::vector<double>& series, double floor) {
    if (series == series_ && floor == floor_) return;
    series_ = series;
    floor_ = floor > 0 ? floor : 1;
    update();
}

void Sparkline::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(1, 1, -1, -1);
    QColor faint = color_;
    faint.setAlpha(28);
    painter.fillRect(box, faint);
    if (series_.size() < 2) return;

    const double top = std::max(floor_, *std::max_element(series_.begin(), series_.end()));
    const double step = box.width() / static_cast<double>(series_.size() - 1);
    QPainterPath line;
    for (size_t i = 0; i < series_.size(); ++i) {
        const double value = std::clamp(series_[i] / top, 0.0, 1.0);
        const QPointF point(box.left() + step * static_cast<double>(i), box.bottom() - value * box.height());
        if (i == 0)
            line.moveTo(point);
        else
            line.lineTo(point);
    }
    QPainterPath fill = line;
    fill.lineTo(box.bottomRight());
    fill.lineTo(box.bottomLeft());
    fill.closeSubpath();
    QColor under = color_;
    under.setAlpha(60);
    painter.fillPath(fill, under);
    painter.setPen(QPen(color_, 1.5));
    painter.drawPath(line);
}

}  // namespace qm::app
