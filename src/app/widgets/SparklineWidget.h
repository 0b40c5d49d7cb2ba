// A small line chart of a rolling series (the Monitor's 180 points, or an app's 90):
// the newest point at the right edge, filled underneath. The scale is at least
// `floor`, so a quiet series stays low instead of filling the box with noise.
#pragma once

#include <QColor>
#include <QWidget>
#include <vector>

namespace qm::app {

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
