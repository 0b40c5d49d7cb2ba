// A tiny trend line drawn straight into a table cell: no widget per row, so a table
// of two thousand processes paints only the few rows on screen.
#pragma once

#include <QColor>
#include <QRectF>
#include <vector>

class QPainter;

namespace qm::app {

// Draws `values` (oldest first) across `rect`, scaled to `maximum` (or the largest
// value when `maximum` is not positive), with a faint fill under the line.
void paintSparkline(QPainter& painter, const QRectF& rect, const std::vector<double>& values, double maximum,
                    const QColor& color);

}  // namespace qm::app
