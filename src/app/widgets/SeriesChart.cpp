#include "app/widgets/SeriesChart.h"

#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace qm::app {

SeriesChart::SeriesChart(QWidget* parent) : QWidget(parent) {
    setMinimumHeight(80);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

void SeriesChart::invalidate() {
    dirty_ = true;
    update();
}

void SeriesChart::setSeries(std::vector<Series> series) {
    if (series == series_) return;
    series_ = std::move(series);
    invalidate();
}

void SeriesChart::setPositions(std::vector<double> xs, double xMin, double xMax) {
    if (xs == xs_ && xMin == xMin_ && xMax == xMax_) return;
    xs_ = std::move(xs);
    xMin_ = xMin;
    xMax_ = xMax > xMin ? xMax : xMin + 1;
    invalidate();
}

void SeriesChart::setStacked(bool stacked) {
    if (stacked == stacked_) return;
    stacked_ = stacked;
    invalidate();
}

void SeriesChart::setFixedMaximum(std::optional<double> maximum) {
    if (maximum == fixedMax_) return;
    fixedMax_ = maximum;
    invalidate();
}

void SeriesChart::setMinimumTop(double top) {
    if (top == minimumTop_) return;
    minimumTop_ = top;
    invalidate();
}

void SeriesChart::setValueText(std::function<QString(double)> text) {
    valueText_ = std::move(text);
    update();
}

void SeriesChart::setMarks(std::vector<Mark> marks) {
    if (marks == marks_) return;
    marks_ = std::move(marks);
    update();
}

void SeriesChart::setSelection(std::optional<double> x) {
    if (x == selection_) return;
    selection_ = x;
    update();
}

void SeriesChart::setEmptyText(const QString& text) {
    if (text == emptyText_) return;
    emptyText_ = text;
    update();
}

QRectF SeriesChart::plotRect() const {
    // Room at the top for the event marks and the axis's top value.
    return QRectF(rect()).adjusted(1, 14, -1, -1);
}

double SeriesChart::xAt(size_t index, size_t count) const {
    const QRectF plot = plotRect();
    if (!xs_.empty() && index < xs_.size()) return plot.left() + (xs_[index] - xMin_) / (xMax_ - xMin_) * plot.width();
    if (count <= 1) return plot.right();
    return plot.left() + static_cast<double>(index) / static_cast<double>(count - 1) * plot.width();
}

double SeriesChart::positionAt(double widgetX) const {
    const QRectF plot = plotRect();
    const double t = plot.width() > 0 ? std::clamp((widgetX - plot.left()) / plot.width(), 0.0, 1.0) : 0.0;
    if (!xs_.empty() || xMax_ != 1 || xMin_ != 0) return xMin_ + t * (xMax_ - xMin_);
    return t;
}

void SeriesChart::rebuild() {
    dirty_ = false;
    ++rebuilds_;
    paths_.clear();
    size_t count = 0;
    for (const Series& s : series_) count = std::max(count, s.values.size());

    std::vector<double> base(count, 0.0);
    double top = 0;
    if (stacked_) {
        std::vector<double> sum(count, 0.0);
        for (const Series& s : series_)
            for (size_t i = 0; i < s.values.size(); ++i) sum[i] += std::isfinite(s.values[i]) ? s.values[i] : 0.0;
        for (double v : sum) top = std::max(top, v);
    } else {
        for (const Series& s : series_)
            for (double v : s.values)
                if (std::isfinite(v)) top = std::max(top, v);
    }
    top_ = fixedMax_ ? *fixedMax_ : std::max(minimumTop_, top > 0 ? top * 1.1 : 1.0);
    if (!(top_ > 0)) top_ = 1;

    const QRectF plot = plotRect();
    auto yAt = [&](double v) { return plot.bottom() - std::clamp(v / top_, 0.0, 1.0) * plot.height(); };
    for (const Series& s : series_) {
        QPainterPath path;
        const size_t n = s.values.size();
        if (n == 0) {
            paths_.push_back(path);
            continue;
        }
        // Live series of different lengths line up at the right edge (now).
        const size_t offset = xs_.empty() ? count - n : 0;
        std::vector<QPointF> upper(n), lower(n);
        for (size_t i = 0; i < n; ++i) {
            const double v = std::isfinite(s.values[i]) ? s.values[i] : 0.0;
            const double x = xAt(i + offset, count);
            const double b = stacked_ ? base[i + offset] : 0.0;
            upper[i] = {x, yAt(b + v)};
            lower[i] = {x, yAt(b)};
            if (stacked_) base[i + offset] = b + v;
        }
        path.moveTo(upper[0]);
        for (size_t i = 1; i < n; ++i) path.lineTo(upper[i]);
        if (stacked_) {
            for (size_t i = n; i-- > 0;) path.lineTo(lower[i]);
            path.closeSubpath();
        }
        paths_.push_back(path);
    }
}

void SeriesChart::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    dirty_ = true;
}

void SeriesChart::paintEvent(QPaintEvent*) {
    if (dirty_) rebuild();
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing, true);
    const QRectF plot = plotRect();
    const QPalette pal = palette();
    QColor grid = pal.color(QPalette::Mid);
    grid.setAlpha(90);
    p.setPen(QPen(grid, 1));
    for (int i = 0; i <= 4; ++i) {
        const double y = plot.top() + plot.height() * i / 4.0;
        p.drawLine(QPointF(plot.left(), y), QPointF(plot.right(), y));
    }

    bool empty = true;
    for (const Series& s : series_) empty = empty && s.values.empty();
    if (empty) {
        p.setPen(pal.color(QPalette::PlaceholderText));
        p.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap, emptyText_);
        return;
    }

    for (size_t i = 0; i < paths_.size() && i < series_.size(); ++i) {
        const QColor color = series_[i].color;
        if (stacked_) {
            QColor fill = color;
            fill.setAlpha(170);
            p.setPen(Qt::NoPen);
            p.setBrush(fill);
            p.drawPath(paths_[i]);
        } else {
            p.setBrush(Qt::NoBrush);
            p.setPen(QPen(color, 1.6));
            p.drawPath(paths_[i]);
        }
    }

    for (const Mark& mark : marks_) {
        const double t = (mark.x - xMin_) / (xMax_ - xMin_);
        if (t < 0 || t > 1) continue;
        const double x = plot.left() + t * plot.width();
        p.setPen(Qt::NoPen);
        p.setBrush(mark.color);
        p.drawEllipse(QPointF(x, plot.top() - 6), 3.5, 3.5);
    }

    if (selection_) {
        const double t = (*selection_ - xMin_) / (xMax_ - xMin_);
        if (t >= 0 && t <= 1) {
            const double x = plot.left() + t * plot.width();
            p.setPen(QPen(pal.color(QPalette::Highlight), 1.5));
            p.drawLine(QPointF(x, plot.top()), QPointF(x, plot.bottom()));
        }
    }

    if (valueText_) {
        p.setPen(pal.color(QPalette::PlaceholderText));
        QFont small = font();
        small.setPointSizeF(small.pointSizeF() * 0.85);
        p.setFont(small);
        p.drawText(QRectF(plot.left() + 4, 0, plot.width() - 8, 14), Qt::AlignRight | Qt::AlignVCenter,
                   valueText_(top_));
    }
}

void SeriesChart::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) emit pointed(positionAt(event->position().x()));
    QWidget::mousePressEvent(event);
}

void SeriesChart::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() == Qt::NoButton) emit hovered(positionAt(event->position().x()));
    QWidget::mouseMoveEvent(event);
}

void SeriesChart::leaveEvent(QEvent* event) {
    if (hasMouseTracking()) emit hovered(std::nullopt);
    QWidget::leaveEvent(event);
}

}  // namespace qm::app
