// A small line and area chart drawn with QPainter: a few series over a shared x axis,
// optionally stacked, with marks along the top (events) and a pointed-at moment.
// Geometry is rebuilt only when the data or the size changes; setting equal data does
// not repaint, so a chart on a page refreshed every tick costs nothing while its
// figures stand still. 360 points per series draw in well under a millisecond.
#pragma once

#include <QColor>
#include <QPainterPath>
#include <QString>
#include <QWidget>
#include <functional>
#include <optional>
#include <vector>

namespace qm::app {

class SeriesChart : public QWidget {
    Q_OBJECT
public:
    struct Series {
        QString name;
        QColor color;
        std::vector<double> values;
        bool operator==(const Series&) const = default;
    };
    struct Mark {
        double x = 0;
        QColor color;
        bool operator==(const Mark&) const = default;
    };

    explicit SeriesChart(QWidget* parent = nullptr);

    // Values evenly spaced from left to right (live series), or at the given x
    // positions within [xMin, xMax] (history buckets, in seconds).
    void setSeries(std::vector<Series> series);
    void setPositions(std::vector<double> xs, double xMin, double xMax);
    // Stacked series fill on top of each other (memory breakdown); otherwise each is a line.
    void setStacked(bool stacked);
    // The top of the y axis; without one the largest value (or stacked sum) is used.
    void setFixedMaximum(std::optional<double> maximum);
    // The least the automatic top of the y axis may be.
    void setMinimumTop(double top);
    // How the axis's top value is written ("100%", "4.2 MB/s").
    void setValueText(std::function<QString(double)> text);
    void setMarks(std::vector<Mark> marks);
    // The pointed-at x (in position units), drawn as a vertical line; absent hides it.
    void setSelection(std::optional<double> x);
    void setEmptyText(const QString& text);

    const std::vector<Series>& series() const { return series_; }
    // How many times the geometry was rebuilt (for tests and measurements).
    int rebuildCount() const { return rebuilds_; }
    // The x (in position units) under a widget x coordinate.
    double positionAt(double widgetX) const;

    QSize sizeHint() const override { return {400, 160}; }
    QSize minimumSizeHint() const override { return {120, 60}; }

    // Whether the pointer moving over the chart (no button held) is reported by `hovered`.
    void setTracksPointer(bool tracks) { setMouseTracking(tracks); }

signals:
    // A click on the chart: the x in position units.
    void pointed(double x);
    // The pointer moved over the chart, or left it (absent).
    void hovered(std::optional<double> x);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QRectF plotRect() const;
    double xAt(size_t index, size_t count) const;
    void invalidate();
    void rebuild();

    std::vector<Series> series_;
    std::vector<double> xs_;
    double xMin_ = 0, xMax_ = 1;
    bool stacked_ = false;
    std::optional<double> fixedMax_;
    double minimumTop_ = 0;
    std::function<QString(double)> valueText_;
    std::vector<Mark> marks_;
    std::optional<double> selection_;
    QString emptyText_;

    bool dirty_ = true;
    double top_ = 1;
    std::vector<QPainterPath> paths_;  // one per series, in widget coordinates
    int rebuilds_ = 0;
};

}  // namespace qm::app
