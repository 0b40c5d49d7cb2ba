// What the helper measures: numbers only, never command lines or environments.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qm::helper {

// One packed 64-byte record per process below `proc` ("/proc"), in the units the
// client's own readings use: CPU times in nanoseconds, footprint as the anonymous
// pages (resident − shared from statm; the client, which sees every process, adds each
// one's part of shared memory to its own readings, but a record stands alone), disk
// counters in bytes from the process's io file (which only root may read for
// every process). Linux keeps no per-process energy or wake-up counts: both are 0.
std::vector<uint8_t> processRecords(const std::string& proc);

// The machine's top-level RAPL zones below `root` as packed 48-byte records.
std::vector<uint8_t> energyRecords(const std::string& root);

}  // namespace qm::helper
