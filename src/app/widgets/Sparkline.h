// A small trend line of a rolling series (the Monitor's 180 points, or an app's 90),
// oldest at the left, filled underneath. `paintSparkline` draws it straight into a
// table cell (no widget per row, so a table of two thousand processes paints only the
// few rows on screen); `Sparkline` is the same drawing as a widget of its own.
#pragma once

#include <QColor>
#include <QRectF>
#include <QWidget>
#include <vector>

class QPainter;

namespace qm::app {

// Draws `values` (oldest first) across `rect`, scaled to `maximum` (or the largest
// value when `maximum` is not positive), with a faint fill under the line.
void paintSparkline(QPainter& painter, const QRectF& rect, const std::vector<double>& values, double maximum,
                    const QColor& color);

// The widget form, on a faint box of its colour. The scale is at least `floor`, so a
// quiet series stays low instead of filling the box with noise.
class Sparkline : public QWidget {
    Q_OBJECT
public:
    explicit Sparkline(QColor color, QWidget* parent = nullptr);

    void setSeries(const std::vector<double>& series, double floor);
    const std::vector<double>& series() const { return series_; }

    QSize sizeHint() const override { return {120, 28}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor color_;
    std::vector<double> series_;
    double floor_ = 1;
};

}  // namespace qm::app
