// Parsing the output of `ps -axo pid=,uid=,time=,rss=`, the fallback for processes
// of other users when the privileged helper is not usable.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace qm {

struct PSLine {
    int32_t pid = 0;
    uint32_t uid = 0;
    double cpuSeconds = 0;  // cumulative CPU time
    uint64_t rss = 0;       // bytes
};

// Lines of other users only (uid != ownUID); short or garbled lines are skipped.
std::vector<PSLine> parsePSOutput(std::string_view text, uint32_t ownUID);

}  // namespace qm
