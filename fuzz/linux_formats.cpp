// /proc/stat, /proc/net/dev, /proc/diskstats, CPU lists, os-release and cpuinfo: the
// same bytes go through every parser, since all of them must survive any text.
#include <cstdlib>

#include "FuzzInput.h"
#include "readers/LinuxFormats.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto parts = qm::fuzz::splitAtNul(qm::fuzz::asText(data, size));
    std::string_view text = parts[0];

    auto cpus = qm::parseProcStatCPUs(text);
    // Four counters per CPU, always.
    if (cpus.size() % 4 != 0) std::abort();
    // One number per CPU's counters.
    if (qm::parseProcStatCPUNumbers(text).size() * 4 != cpus.size()) std::abort();
    (void)qm::parseBootTime(text);
    for (const auto& interface : qm::parseNetDev(text)) (void)interface.name.size();
    for (const auto& disk : qm::parseDiskstats(text)) (void)qm::isVirtualBlockDevice(disk.name);
    for (int cpu : qm::parseCPUList(text))
        if (cpu < 0) std::abort();
    (void)qm::osReleaseValue(text, parts.size() > 1 ? parts[1] : "PRETTY_NAME");
    (void)qm::cpuModelName(text);
    return 0;
}
