// A recorder restarted within a minute finds the part of that minute the previous
// run saved: the two parts become one row, each weighted by the seconds it covered.
#pragma once

#include "core/HistorySink.h"

namespace qm {

// Averages (CPU, memory, rates, power) are weighted by the seconds of each part;
// peaks (swap, pressure level, thermal state, app memory) take the higher; app
// energy adds up; the later part's battery reading and names win.
StoredMinute mergeMinute(const StoredMinute& earlier, double earlierSeconds, const StoredMinute& later,
                         double laterSeconds);

}  // namespace qm
