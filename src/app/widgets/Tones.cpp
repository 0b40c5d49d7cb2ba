#include "app/widgets/Tones.h"

#include <iterator>

#include "app/widgets/AppTheme.h"

namespace qm::app {

namespace {
// Each colour in two shades: deep enough for a light window and bright enough for a
// dark one, both at least 4.5:1 against the window and the tables' background.
QColor shade(QRgb light, QRgb dark) { return QColor::fromRgb(darkPalette() ? dark : light); }
}  // namespace

QColor verdictColor(Insights::Tone tone) {
    switch (tone) {
        case Insights::Tone::good: return shade(0x1e7b34, 0x4cc366);
        case Insights::Tone::warn: return shade(0xa35a00, 0xf0a53a);
        case Insights::Tone::bad: return shade(0xc0261c, 0xff6b5e);
        case Insights::Tone::secondary: break;
    }
    return shade(0x5f6367, 0xa4a4aa);
}

QColor severityColor(int level) {
    if (level <= 0) return verdictColor(Insights::Tone::good);
    if (level == 1) return verdictColor(Insights::Tone::warn);
    return verdictColor(Insights::Tone::bad);
}

QColor cpuColor() { return shade(0x1f64c0, 0x6aa8f5); }
QColor memoryColor() { return shade(0x7a3cc4, 0xb68af0); }
QColor powerColor() { return shade(0xa35a00, 0xf0a53a); }
QColor networkColor() { return shade(0x137a72, 0x3cc9bd); }
QColor diskColor() { return shade(0xa83b74, 0xec86bd); }

QColor memoryPartColor(size_t index) {
    // Apps in the memory colour, attention for wired, teal for compressed, and quiet
    // shades for what can be given back.
    const QColor colors[] = {memoryColor(), verdictColor(Insights::Tone::warn), shade(0x166e66, 0x4fc9bb),
                             shade(0x3a6f96, 0x8fc0e4), shade(0x5f6367, 0xb9bec2)};
    return colors[index % std::size(colors)];
}

}  // namespace qm::app
