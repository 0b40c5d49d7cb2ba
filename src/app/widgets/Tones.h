// The colours the interface draws verdicts in: good, attention, alert, and grey for
// what is unknown. Level 0, 1, 2 are the severities of events and of the status line.
#pragma once

#include <QColor>
#include <cstddef>

#include "knowledge/Insights.h"

namespace qm::app {

QColor verdictColor(Insights::Tone tone);
QColor severityColor(int level);  // 0 good, 1 warn, 2 bad; outside clamps to the nearest
// A colour per chart kind, so CPU, memory and power read the same everywhere.
QColor cpuColor();
QColor memoryColor();
QColor powerColor();
QColor networkColor();
QColor diskColor();
// The parts of memory (apps, wired, compressed, cached, free), by their index.
QColor memoryPartColor(size_t index);

}  // namespace qm::app
