// Draws the menu-bar label: the glyph (three rising bars in a rounded frame; red
// with an exclamation mark in its alert form) and up to two short lines of figures.
// A Mac status item is as wide as its label; a Linux tray slot is square, so there the
// figures fill the square on their own.
#pragma once

#include <QImage>
#include <string>
#include <vector>

class QPainter;
class QRectF;

namespace qm::app {

struct MenuBarRenderer {
    // The wide label for a variable-length status item, `height` points high.
    static QImage image(const std::vector<std::string>& lines, bool alert, int height = 22, qreal scale = 2.0);
    // The square tray icon: the glyph alone, or the figures (one line large, two
    // stacked in the CPU and memory colours), on a tinted background when alert is set.
    static QImage trayImage(const std::vector<std::string>& lines, bool alert, int size = 64);
    static void drawGlyph(QPainter& painter, const QRectF& box, bool alert);
};

}  // namespace qm::app
