// One bar per logical CPU, its height the core's share of the last tick: how the load
// spreads over the cores at a glance.
#pragma once

#include <QWidget>
#include <vector>

namespace qm::app {

class CoreBars : public QWidget {
    Q_OBJECT
public:
    explicit CoreBars(QWidget* parent = nullptr);
    void setValues(const std::vector<double>& percents);
    const std::vector<double>& values() const { return values_; }
    QSize sizeHint() const override { return {240, 56}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<double> values_;
};

}  // namespace qm::app
