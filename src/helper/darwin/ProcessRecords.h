// The helper daemon's answer: the packed 64-byte record of every process it can read
// through proc_pid_rusage, in the units of the resource-usage record itself.
#pragma once

#include <cstdint>
#include <vector>

namespace qm {

std::vector<uint8_t> sampleAllProcessRecords();

}  // namespace qm
