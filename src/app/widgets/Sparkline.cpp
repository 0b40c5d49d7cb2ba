#include "app/widgets/Sparkline.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace qm::app {

void paintSparkline(QPainter& painter, const QRectF& rect, const std::vector<double>& values, double maximum,
                    const QColor& color) {
    if (values.size() < 2 || rect.width() < 4 || rect.height() < 4) return;
    double top = maximum;
    if (!(top > 0)) {
        top = 0;
        for (double v : values)
            if (std::isfinite(v)) top = std::max(top, v);
    }
    if (!(top > 0)) top = 1;
    const double step = rect.width() / static_cast<double>(values.size() - 1);
    QPainterPath line;
    for (size_t i = 0; i < values.size(); ++i) {
        const double v = std::isfinite(values[i]) ? std::clamp(values[i] / top, 0.0, 1.0) : 0.0;
        const QPointF point(rect.left() + step * static_cast<double>(i), rect.bottom() - v * rect.height());
        if (i == 0)
            line.moveTo(point);
        else
            line.lineTo(point);
    }
    QPainterPath fill = line;
    fill.lineTo(rect.bottomRight());
    fill.lineTo(rect.bottomLeft());
    fill.closeSubpath();

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    QColor under = color;
    under.setAlpha(55);
    painter.fillPath(fill, under);
    painter.setPen(QPen(color, 1.4));
    painter.drawPath(line);
    painter.restore();
}

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
    const QRectF box = QRectF(rect()).adjusted(1, 1, -1, -1);
    QColor faint = color_;
    faint.setAlpha(28);
    painter.fillRect(box, faint);
    double top = floor_;
    for (double v : series_)
        if (std::isfinite(v)) top = std::max(top, v);
    paintSparkline(painter, box, series_, top, color_);
}

}  // namespace qm::app
