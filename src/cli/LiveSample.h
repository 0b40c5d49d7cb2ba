// One settled snapshot for the one-shot commands (status, bar, energy): two live
// ticks a second apart on the calling thread, so rates and CPU shares are real.
#pragma once

#include <optional>

#include "core/Snapshot.h"

namespace qm::cli {

std::optional<Snapshot> sampleTwice();

}  // namespace qm::cli
