#include "app/widgets/Tones.h"

#include <iterator>

namespace qm::app {

QColor verdictColor(Insights::Tone tone) {
    switch (tone) {
        case Insights::Tone::good: return {0x2e, 0xa0, 0x43};
        case Insights::Tone::warn: return {0xe0, 0x8a, 0x00};
        case Insights::Tone::bad: return {0xd9, 0x30, 0x25};
        case Insights::Tone::secondary: break;
    }
    return {0x8a, 0x8a, 0x8e};
}

QColor severityColor(int level) {
    if (level <= 0) return verdictColor(Insights::Tone::good);
    if (level == 1) return verdictColor(Insights::Tone::warn);
    return verdictColor(Insights::Tone::bad);
}

QColor cpuColor() { return {0x2f, 0x7d, 0xe1}; }
QColor memoryColor() { return {0x8e, 0x4e, 0xd8}; }
QColor powerColor() { return {0xe0, 0x8a, 0x00}; }
QColor networkColor() { return {0x1b, 0xa5, 0x9b}; }
QColor diskColor() { return {0xc2, 0x4f, 0x8a}; }

QColor memoryPartColor(size_t index) {
    // Apps in the memory colour, attention for wired, teal for compressed, and quiet
    // shades for what can be given back.
    static const QColor colors[] = {memoryColor(), verdictColor(Insights::Tone::warn), QColor(0x26, 0xa6, 0x9a),
                                    QColor(0x7f, 0xb3, 0xd5), QColor(0xbd, 0xc3, 0xc7)};
    return colors[index % std::size(colors)];
}

}  // namespace qm::app
