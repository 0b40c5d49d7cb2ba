// When this machine booted, for turning /proc's start ticks into times. The kernel's
// figure moves when the clock is set, so it is read once per root for the life of the
// program: start times taken by the process reader and those checked again before a
// signal then stay comparable.
#pragma once

#include <cstdint>
#include <string>

namespace qm {

// "btime" of <root>/proc/stat in seconds since the Unix epoch; 0 when unreadable.
uint64_t bootTime(const std::string& root);

// A start in clock ticks after boot, in microseconds since the Unix epoch.
uint64_t startMicros(uint64_t bootSeconds, uint64_t startTicks, double nanosPerTick);

// Nanoseconds per clock tick of /proc's times.
double nanosPerClockTick();

}  // namespace qm
