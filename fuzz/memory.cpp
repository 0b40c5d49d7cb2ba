// /proc/meminfo, /proc/pressure/memory and zram's mm_stat, and the memory figures
// derived from whatever meminfo claims.
#include "FuzzInput.h"
#include "readers/MemoryMapping.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text = qm::fuzz::asText(data, size);
    auto info = qm::parseMeminfo(text);
    auto zram = qm::parseZramUsed(text);
    (void)qm::memoryFromMeminfo(info, zram);
    (void)qm::zramDeviceUsed(text, text);
    if (auto stall = qm::parsePressureStall(text)) (void)qm::levelFromStallShares(stall->someAvg10, stall->fullAvg10);
    return 0;
}
