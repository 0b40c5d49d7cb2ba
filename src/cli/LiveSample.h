// True first answers for the one-shot commands. Counters (CPU ticks, process CPU
// times, network and disk bytes) mean nothing until they have a previous read, so
// every command reads once to prime them, waits a short moment and reads again: the
// figures then cover that real interval, never a made-up first value.
#pragma once

#include <chrono>
#include <optional>

#include "core/Snapshot.h"

namespace qm::cli {

// Long enough for the kernel's 100 Hz tick counters to say something, short enough
// that a command answers in about half a second.
inline constexpr std::chrono::milliseconds primingDelay{450};

// Two live ticks `primingDelay` apart on the calling thread; the second is returned.
std::optional<Snapshot> primedSnapshot();

}  // namespace qm::cli
