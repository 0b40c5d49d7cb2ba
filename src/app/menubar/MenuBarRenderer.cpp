#include "app/menubar/MenuBarRenderer.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <array>
#include <cmath>

#include "app/widgets/Tones.h"

namespace qm::app {

namespace {

QColor alertRed() { return severityColor(2); }

// The largest pixel size (down to 6) at which every text fits the width.
QFont fittedFont(const QStringList& texts, qreal width, qreal maxPixels, bool bold) {
    QFont font;
    font.setBold(bold);
    for (qreal pixels = maxPixels; pixels > 6; pixels -= 1) {
        font.setPixelSize(static_cast<int>(pixels));
        const QFontMetricsF metrics(font);
        const bool fits = std::all_of(texts.begin(), texts.end(),
                                      [&](const QString& text) { return metrics.horizontalAdvance(text) <= width; });
        if (fits) return font;
    }
    font.setPixelSize(6);
    return font;
}

QStringList toQt(const std::vector<std::string>& lines) {
    QStringList texts;
    for (const auto& line : lines) texts << QString::fromStdString(line);
    return texts;
}

}  // namespace

void MenuBarRenderer::drawGlyph(QPainter& painter, const QRectF& box, bool alert) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor ink = alert ? alertRed() : QColor(0xf2, 0xf2, 0xf2);
    const qreal w = box.width();
    const qreal h = box.height();
    painter.setPen(QPen(ink, std::max(1.0, w / 12)));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(box.adjusted(w * 0.06, h * 0.06, -w * 0.06, -h * 0.06), w * 0.18, h * 0.18);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    const qreal barWidth = w * 0.14;
    const qreal bottom = box.bottom() - h * 0.24;
    const std::array<qreal, 3> heights{0.22, 0.38, 0.54};
    for (size_t i = 0; i < heights.size(); ++i) {
        const qreal x = box.left() + w * (0.24 + 0.20 * static_cast<qreal>(i));
        if (alert && i == 2) break;  // the last bar makes room for the mark
        painter.drawRect(QRectF(x, bottom - h * heights[i], barWidth, h * heights[i]));
    }
    if (alert) {
        const qreal x = box.left() + w * 0.70;
        painter.drawRect(QRectF(x, box.top() + h * 0.22, barWidth, h * 0.34));
        painter.drawEllipse(QRectF(x, bottom - barWidth, barWidth, barWidth));
    }
    painter.restore();
}

QImage MenuBarRenderer::image(const std::vector<std::string>& lines, bool alert, int height, qreal scale) {
    const QStringList texts = toQt(lines);
    QFont font;
    font.setPixelSize(texts.size() >= 2 ? height * 9 / 22 : height * 13 / 22);
    font.setBold(texts.size() < 2);
    const QFontMetricsF metrics(font);
    qreal textWidth = 0;
    for (const QString& text : texts) textWidth = std::max(textWidth, metrics.horizontalAdvance(text));
    const qreal glyph = height * 0.8;
    const qreal width = glyph + (texts.isEmpty() ? 0 : 4 + textWidth) + 2;

    QImage image(QSize(static_cast<int>(std::ceil(width * scale)), static_cast<int>(std::ceil(height * scale))),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::TextAntialiasing);
    drawGlyph(painter, QRectF(1, (height - glyph) / 2, glyph, glyph), alert);
    painter.setFont(font);
    painter.setPen(alert ? alertRed() : QColor(0xf2, 0xf2, 0xf2));
    const qreal x = glyph + 5;
    if (texts.size() == 1) {
        painter.drawText(QRectF(x, 0, textWidth + 1, height), Qt::AlignLeft | Qt::AlignVCenter, texts[0]);
    } else if (texts.size() >= 2) {
        painter.drawText(QRectF(x, 1, textWidth + 1, height / 2.0), Qt::AlignLeft | Qt::AlignVCenter, texts[0]);
        painter.drawText(QRectF(x, height / 2.0 - 1, textWidth + 1, height / 2.0), Qt::AlignLeft | Qt::AlignVCenter,
                         texts[1]);
    }
    return image;
}

QImage MenuBarRenderer::trayImage(const std::vector<std::string>& lines, bool alert, int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    const QRectF box(0, 0, size, size);
    const QStringList texts = toQt(lines);
    // A dark rounded plate keeps the label readable on light and dark panels alike.
    painter.setPen(Qt::NoPen);
    painter.setBrush(alert && !texts.isEmpty() ? alertRed() : QColor(0x26, 0x28, 0x2c));
    painter.drawRoundedRect(box, size * 0.16, size * 0.16);
    if (texts.isEmpty()) {
        drawGlyph(painter, box.adjusted(size * 0.1, size * 0.1, -size * 0.1, -size * 0.1), alert);
        return image;
    }
    const qreal inner = size * 0.94;
    if (texts.size() == 1) {
        painter.setFont(fittedFont(texts, inner, size * 0.62, true));
        painter.setPen(Qt::white);
        painter.drawText(box, Qt::AlignCenter, texts[0]);
    } else {
        painter.setFont(fittedFont(texts.mid(0, 2), inner, size * 0.46, true));
        const QColor first = alert ? QColor(Qt::white) : cpuColor().lighter(150);
        const QColor second = alert ? QColor(Qt::white) : memoryColor().lighter(160);
        painter.setPen(first);
        painter.drawText(QRectF(0, 0, size, size / 2.0), Qt::AlignCenter, texts[0]);
        painter.setPen(second);
        painter.drawText(QRectF(0, size / 2.0, size, size / 2.0), Qt::AlignCenter, texts[1]);
    }
    return image;
}

}  // namespace qm::app
