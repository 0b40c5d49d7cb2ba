#include "processes/PSOutput.h"

#include <limits>

#include "core/FileRead.h"
#include "processes/ProcessNames.h"

namespace qm {

// ps separates columns with spaces only; tabs are not expected but cost nothing to accept.
std::vector<PSLine> parsePSOutput(std::string_view text, uint32_t ownUID) {
    std::vector<PSLine> lines;
    for (auto line : splitLines(text)) {
        auto fields = splitFields(line);
        if (fields.size() < 4) continue;
        auto pid = parseInt(fields[0]);
        auto uid = parseInt(fields[1]);
        if (!pid || !uid || *pid < 0 || *pid > std::numeric_limits<int32_t>::max() || *uid < 0 ||
            *uid > std::numeric_limits<uint32_t>::max())
            continue;
        if (static_cast<uint32_t>(*uid) == ownUID) continue;
        PSLine entry;
        entry.pid = static_cast<int32_t>(*pid);
        entry.uid = static_cast<uint32_t>(*uid);
        entry.cpuSeconds = parseCPUTime(fields[2]);
        entry.rss = parseUInt(fields[3]).value_or(0) * 1024;
        lines.push_back(entry);
    }
    return lines;
}

}  // namespace qm
