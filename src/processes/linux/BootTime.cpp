#include "processes/linux/BootTime.h"

#include <unistd.h>

#include <map>
#include <mutex>

#include "core/FileRead.h"

namespace qm {

uint64_t bootTime(const std::string& root) {
    static std::mutex lock;
    static std::map<std::string, uint64_t> known;
    std::lock_guard guard(lock);
    if (auto it = known.find(root); it != known.end()) return it->second;
    uint64_t seconds = 0;
    if (auto stat = readFile(root + "/proc/stat")) {
        for (auto line : splitLines(*stat)) {
            auto fields = splitFields(line);
            if (fields.size() == 2 && fields[0] == "btime") seconds = parseUInt(fields[1]).value_or(0);
        }
    }
    // An unreadable file is not remembered: the next reader may find it.
    if (seconds != 0) known[root] = seconds;
    return seconds;
}

uint64_t startMicros(uint64_t bootSeconds, uint64_t startTicks, double nanosPerTick) {
    return bootSeconds * 1'000'000 + static_cast<uint64_t>(static_cast<double>(startTicks) * nanosPerTick / 1000);
}

double nanosPerClockTick() {
    const long hz = ::sysconf(_SC_CLK_TCK);
    return 1e9 / static_cast<double>(hz > 0 ? hz : 100);
}

}  // namespace qm
