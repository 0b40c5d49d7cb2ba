#include "readers/MemoryMapping.h"

#include <algorithm>

#include "core/FileRead.h"

namespace qm {

namespace {

uint64_t field(const Meminfo& info, std::string_view name) {
    auto it = info.find(name);
    return it == info.end() ? 0 : it->second;
}

uint64_t minusFloor(uint64_t a, uint64_t b) { return a > b ? a - b : 0; }

}  // namespace

Meminfo parseMeminfo(std::string_view text) {
    Meminfo info;
    for (auto line : splitLines(text)) {
        auto colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        auto fields = splitFields(line.substr(colon + 1));
        if (fields.empty()) continue;
        auto value = parseUInt(fields[0]);
        if (!value) continue;
        uint64_t bytes = *value;
        if (fields.size() > 1 && fields[1] == "kB") bytes *= 1024;
        info.emplace(std::string(line.substr(0, colon)), bytes);
    }
    return info;
}

std::optional<PressureStall> parsePressureStall(std::string_view text) {
    PressureStall stall;
    bool sawSome = false;
    for (auto line : splitLines(text)) {
        auto fields = splitFields(line);
        if (fields.empty()) continue;
        const bool some = fields[0] == "some";
        const bool full = fields[0] == "full";
        if (!some && !full) continue;
        for (auto f : fields) {
            if (f.starts_with("total=")) {
                auto v = parseUInt(f.substr(6));
                if (!v) return std::nullopt;
                (some ? stall.someTotal : stall.fullTotal) = *v;
                if (some) sawSome = true;
            } else if (f.starts_with("avg10=")) {
                auto v = parseDouble(f.substr(6));
                if (v) (some ? stall.someAvg10 : stall.fullAvg10) = *v;
            }
        }
    }
    if (!sawSome) return std::nullopt;
    return stall;
}

MemoryStats memoryFromMeminfo(const Meminfo& info, std::optional<uint64_t> zramUsed) {
    MemoryStats m;
    m.total = field(info, "MemTotal");
    const uint64_t shared = field(info, "Shmem");
    m.app = field(info, "AnonPages") + shared;
    // A machine may use both: zram as swap, and zswap in front of a swap file.
    m.compressed = zramUsed.value_or(0) + field(info, "Zswap");
    m.cached = minusFloor(field(info, "Buffers") + field(info, "Cached") + field(info, "SReclaimable"), shared);
    m.free = field(info, "MemFree");
    const uint64_t kernelNamed = minusFloor(field(info, "Unevictable"), field(info, "Mlocked")) +
                                 field(info, "SUnreclaim") + field(info, "KernelStack") + field(info, "PageTables");
    const uint64_t counted = m.app + m.compressed + m.cached + m.free;
    if (m.total == 0) {
        m.wired = kernelNamed;
    } else if (counted + kernelNamed <= m.total) {
        m.wired = m.total - counted;
    } else {
        // The fields were read at slightly different moments, or the kernel counts a
        // page in two of them: the cache, then free memory, give way, so the parts
        // still add up to the installed memory and none goes below zero.
        m.wired = std::min(kernelNamed, m.total);
        uint64_t over = counted + m.wired - m.total;
        for (uint64_t* part : {&m.cached, &m.free, &m.compressed, &m.app}) {
            const uint64_t taken = std::min(over, *part);
            *part -= taken;
            over -= taken;
        }
    }
    m.swapTotal = field(info, "SwapTotal");
    m.swapUsed = minusFloor(m.swapTotal, field(info, "SwapFree") + field(info, "SwapCached"));
    if (m.total > 0 && info.contains("MemAvailable")) {
        const double available = static_cast<double>(field(info, "MemAvailable"));
        m.pressure = std::clamp(100.0 - available / static_cast<double>(m.total) * 100.0, 0.0, 100.0);
    }
    return m;
}

PressureLevel levelFromStallShares(double somePercent, double fullPercent) {
    if (fullPercent >= 10.0 || somePercent >= 40.0) return PressureLevel::critical;
    if (somePercent >= 10.0) return PressureLevel::warning;
    return PressureLevel::normal;
}

PressureLevel levelFromAvailable(uint64_t available, uint64_t total) {
    if (total == 0) return PressureLevel::normal;
    const double share = static_cast<double>(available) / static_cast<double>(total) * 100.0;
    if (share < 5.0) return PressureLevel::critical;
    if (share < 15.0) return PressureLevel::warning;
    return PressureLevel::normal;
}

std::optional<uint64_t> parseZramUsed(std::string_view mmStat) {
    auto fields = splitFields(trim(mmStat));
    if (fields.size() < 3) return std::nullopt;
    return parseUInt(fields[2]);
}

std::optional<uint64_t> zramDeviceUsed(std::string_view disksize, std::string_view mmStat) {
    auto size = parseUInt(trim(disksize));
    if (!size || *size == 0) return std::nullopt;
    auto fields = splitFields(trim(mmStat));
    bool anything = false;
    for (auto f : fields) anything = anything || parseUInt(f).value_or(0) != 0;
    if (!anything) return std::nullopt;
    return parseZramUsed(mmStat);
}

MemoryStats memoryFromVMCounts(uint64_t total, std::optional<VMCounts> vm, uint64_t pageSize, uint64_t swapUsed,
                               uint64_t swapTotal, std::optional<int64_t> availableLevel,
                               std::optional<int64_t> pressureCode) {
    MemoryStats m;
    m.total = total;
    if (vm) {
        m.app = minusFloor(vm->internalPages, vm->purgeablePages) * pageSize;
        m.wired = vm->wiredPages * pageSize;
        m.compressed = vm->compressorPages * pageSize;
        m.cached = (vm->externalPages + vm->purgeablePages) * pageSize;
        m.free = vm->freePages * pageSize;
    }
    m.swapUsed = swapUsed;
    m.swapTotal = swapTotal;
    if (availableLevel) m.pressure = std::clamp(100.0 - static_cast<double>(*availableLevel), 0.0, 100.0);
    if (pressureCode == 4)
        m.pressureLevel = PressureLevel::critical;
    else if (pressureCode == 2)
        m.pressureLevel = PressureLevel::warning;
    return m;
}

}  // namespace qm
