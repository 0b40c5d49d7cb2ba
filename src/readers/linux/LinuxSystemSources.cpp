// Machine-wide figures from /proc and /sys, read below qm::systemRoot().
#include <sys/statvfs.h>

#include <array>

#include "core/Clock.h"
#include "core/FileRead.h"
#include "core/Paths.h"
#include "readers/LinuxFormats.h"
#include "readers/MachineInfo.h"
#include "readers/MemoryMapping.h"
#include "readers/Sources.h"

namespace qm {

namespace {

std::string at(const std::string& path) { return systemRoot() + path; }

class LinuxCPU : public CPUSource {
public:
    std::vector<uint32_t> processorTicks() override {
        auto text = readFile(at("/proc/stat"));
        return text ? parseProcStatCPUs(*text) : std::vector<uint32_t>{};
    }
    // Read from the file rather than getloadavg(3) so a copied tree reads as the live one.
    std::optional<std::array<double, 3>> loadAverage() override {
        auto text = readLine(at("/proc/loadavg"));
        if (!text) return std::nullopt;
        auto fields = splitFields(*text);
        if (fields.size() < 3) return std::nullopt;
        std::array<double, 3> load{};
        for (size_t i = 0; i < 3; ++i) {
            auto v = parseDouble(fields[i]);
            if (!v) return std::nullopt;
            load[i] = *v;
        }
        return load;
    }
};

class LinuxMemory : public MemorySource {
public:
    MemoryStats read() override {
        auto text = readFile(at("/proc/meminfo"));
        if (!text) return {};
        const Meminfo info = parseMeminfo(*text);
        MemoryStats stats = memoryFromMeminfo(info, zramUsed());
        stats.pressureLevel = level(info);
        return stats;
    }

private:
    // Memory the compressed RAM disks in use occupy; absent when none is in use.
    std::optional<uint64_t> zramUsed() {
        std::optional<uint64_t> total;
        for (const auto& name : zramDevices()) {
            const std::string dir = at("/sys/block/" + name);
            auto size = readLine(dir + "/disksize");
            auto stat = size ? readLine(dir + "/mm_stat") : std::nullopt;
            if (!stat) continue;
            if (auto used = zramDeviceUsed(*size, *stat)) total = total.value_or(0) + *used;
        }
        return total;
    }

    // The level from the memory stall time since the previous read; the first read
    // uses the kernel's own 10-second averages.
    PressureLevel level(const Meminfo& info) {
        auto text = readFile(at("/proc/pressure/memory"));
        auto stall = text ? parsePressureStall(*text) : std::nullopt;
        if (!stall) {
            auto available = info.find("MemAvailable");
            auto total = info.find("MemTotal");
            if (available == info.end() || total == info.end()) return PressureLevel::normal;
            return levelFromAvailable(available->second, total->second);
        }
        const double now = Clock::system().monotonic();
        PressureLevel result;
        if (previous_ && now > previousAt_ && stall->someTotal >= previous_->someTotal &&
            stall->fullTotal >= previous_->fullTotal) {
            const double intervalUs = (now - previousAt_) * 1e6;
            result =
                levelFromStallShares(static_cast<double>(stall->someTotal - previous_->someTotal) / intervalUs * 100,
                                     static_cast<double>(stall->fullTotal - previous_->fullTotal) / intervalUs * 100);
        } else {
            result = levelFromStallShares(stall->someAvg10, stall->fullAvg10);
        }
        previous_ = stall;
        previousAt_ = now;
        return result;
    }

    // The zram devices, listed again once a minute: they are set up at boot and seldom
    // change, and listing /sys/block every tick would be most of this reader's cost.
    const std::vector<std::string>& zramDevices() {
        const double now = Clock::system().monotonic();
        if (zramListedAt_ && now - *zramListedAt_ < 60) return zramDevices_;
        zramDevices_.clear();
        for (auto& name : listDirectory(at("/sys/block")))
            if (name.starts_with("zram")) zramDevices_.push_back(std::move(name));
        zramListedAt_ = now;
        return zramDevices_;
    }

    std::optional<PressureStall> previous_;
    double previousAt_ = 0;
    std::vector<std::string> zramDevices_;
    std::optional<double> zramListedAt_;
};

// Only interfaces backed by a device count: that leaves out lo, veth pairs,
// bridges, tun/tap, WireGuard and container interfaces.
class LinuxNetwork : public NetworkSource {
public:
    std::optional<ByteCounters> counters() override {
        auto text = readFile(at("/proc/net/dev"));
        if (!text) return std::nullopt;
        ByteCounters sums;
        for (const auto& iface : parseNetDev(*text)) {
            if (!pathExists(at("/sys/class/net/" + iface.name + "/device"))) continue;
            sums.in += iface.rxBytes;
            sums.out += iface.txBytes;
        }
        return sums;
    }
};

// Whole physical disks only: partitions would count the same bytes twice, and
// device-mapper, md and loop devices sit on top of real disks.
class LinuxDisk : public DiskSource {
public:
    std::optional<ByteCounters> counters() override {
        auto text = readFile(at("/proc/diskstats"));
        if (!text) return std::nullopt;
        ByteCounters sums;
        for (const auto& disk : parseDiskstats(*text)) {
            if (isVirtualBlockDevice(disk.name)) continue;
            if (!pathExists(at("/sys/block/" + disk.name + "/device"))) continue;
            sums.in += disk.sectorsRead * 512;  // the kernel counts 512-byte sectors whatever the disk's block size
            sums.out += disk.sectorsWritten * 512;
        }
        return sums;
    }
    std::optional<VolumeSpace> space() override {
        struct statvfs st;
        const std::string root = systemRoot().empty() ? "/" : systemRoot();
        if (::statvfs(root.c_str(), &st) != 0) return std::nullopt;
        return VolumeSpace{static_cast<uint64_t>(st.f_blocks) * st.f_frsize,
                           static_cast<uint64_t>(st.f_bavail) * st.f_frsize};
    }
};

// Core types for the CPUs /proc/stat lists, by CPU number: with a CPU offline the
// per-core figures skip it, and its type must not slide onto the next core.
std::vector<CPUStats::CoreType> linuxCoreTypes(const std::vector<int>& cpus) {
    auto performance = readLine(at("/sys/devices/cpu_core/cpus"));
    auto efficiency = readLine(at("/sys/devices/cpu_atom/cpus"));
    if (performance || efficiency)
        return coreTypesFromLists(cpus, performance ? parseCPUList(*performance) : std::vector<int>{},
                                  efficiency ? parseCPUList(*efficiency) : std::vector<int>{});
    std::vector<std::optional<uint64_t>> capacities;
    for (int cpu : cpus)
        capacities.push_back(readUInt(at("/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpu_capacity")));
    return coreTypesFromCapacities(capacities);
}

}  // namespace

std::unique_ptr<CPUSource> makeCPUSource() { return std::make_unique<LinuxCPU>(); }
std::unique_ptr<MemorySource> makeMemorySource() { return std::make_unique<LinuxMemory>(); }
std::unique_ptr<NetworkSource> makeNetworkSource() { return std::make_unique<LinuxNetwork>(); }
std::unique_ptr<DiskSource> makeDiskSource() { return std::make_unique<LinuxDisk>(); }

std::optional<Date> readBootTime() {
    auto text = readFile(at("/proc/stat"));
    if (!text) return std::nullopt;
    auto btime = parseBootTime(*text);
    if (!btime) return std::nullopt;
    return static_cast<Date>(*btime);
}

MachineInfo readMachineInfo() {
    MachineInfo info;
    if (auto cpuinfo = readFile(at("/proc/cpuinfo"), 4 << 20)) info.chipName = cpuModelName(*cpuinfo).value_or("");
    for (const char* path : {"/sys/devices/virtual/dmi/id/product_name", "/proc/device-tree/model"}) {
        if (auto model = readLine(at(path))) {
            std::string value(trim(*model));
            while (!value.empty() && value.back() == '\0') value.pop_back();  // device-tree strings end in NUL
            if (!value.empty()) {
                info.model = value;
                break;
            }
        }
    }
    if (auto release = readFile(at("/etc/os-release"))) {
        info.osName =
            osReleaseValue(*release, "PRETTY_NAME").value_or(osReleaseValue(*release, "NAME").value_or("Linux"));
        info.osVersion = osReleaseValue(*release, "VERSION_ID").value_or("");
    } else {
        info.osName = "Linux";
    }
    std::vector<int> cpus;
    if (auto stat = readFile(at("/proc/stat"))) cpus = parseProcStatCPUNumbers(*stat);
    info.logicalCPUs = static_cast<int64_t>(cpus.size());
    if (auto meminfo = readFile(at("/proc/meminfo"))) {
        auto parsed = parseMeminfo(*meminfo);
        if (auto it = parsed.find("MemTotal"); it != parsed.end()) info.memory = it->second;
    }
    info.coreTypes = linuxCoreTypes(cpus);
    for (auto type : info.coreTypes) {
        if (type == CPUStats::CoreType::performance) ++info.performanceCores;
        if (type == CPUStats::CoreType::efficiency) ++info.efficiencyCores;
    }
    return info;
}

}  // namespace qm
