// RAPL energy counters through quillmere-helper when the kernel keeps them from us
// (root-only since 2020 kernels).
#pragma once

#include <string>
#include <vector>

#include "readers/PowerRapl.h"

namespace qm {

// The readable zones below `root`; when there are none on the live system, the
// zones the helper reads for us. A helper that fails or has no zones is not asked
// again for 30 seconds; without its socket nothing is asked at all.
std::vector<RaplZone> readRaplZonesWithHelper(const std::string& root);

}  // namespace qm
