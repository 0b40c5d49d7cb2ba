// Machine-wide figures on macOS: Mach host statistics, sysctl and IOKit. Each source
// copies the kernel's numbers out and hands them to the portable readers. IOKit calls
// pass MACH_PORT_NULL for the main port, which means the default on every macOS version.
#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <mach/mach.h>
#include <net/if.h>
#include <net/route.h>
#include <stdlib.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <vector>

#include "readers/MachineInfo.h"
#include "readers/MemoryMapping.h"
#include "readers/NetworkReader.h"
#include "readers/Sources.h"
#include "readers/darwin/Sysctl.h"

namespace qm {

namespace {

class DarwinCPU : public CPUSource {
public:
    std::vector<uint32_t> processorTicks() override {
        natural_t count = 0;
        processor_info_array_t info = nullptr;
        mach_msg_type_number_t infoCount = 0;
        if (host_processor_info(mach_host_self(), PROCESSOR_CPU_LOAD_INFO, &count, &info, &infoCount) != KERN_SUCCESS)
            return {};
        std::vector<uint32_t> ticks;
        if (count > 0 && info) {
            ticks.reserve(static_cast<size_t>(count) * CPU_STATE_MAX);
            for (natural_t cpu = 0; cpu < count; ++cpu) {
                const integer_t* states = info + cpu * CPU_STATE_MAX;
                ticks.push_back(static_cast<uint32_t>(states[CPU_STATE_USER]));
                ticks.push_back(static_cast<uint32_t>(states[CPU_STATE_SYSTEM]));
                ticks.push_back(static_cast<uint32_t>(states[CPU_STATE_IDLE]));
                ticks.push_back(static_cast<uint32_t>(states[CPU_STATE_NICE]));
            }
        }
        vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(info),
                      static_cast<vm_size_t>(infoCount) * sizeof(integer_t));
        return ticks;
    }
    std::optional<std::array<double, 3>> loadAverage() override {
        double load[3] = {0, 0, 0};
        if (getloadavg(load, 3) != 3) return std::nullopt;
        return std::array<double, 3>{load[0], load[1], load[2]};
    }
};

class DarwinMemory : public MemorySource {
public:
    MemoryStats read() override {
        std::optional<VMCounts> counts;
        vm_statistics64_data_t vm{};
        mach_msg_type_number_t count = HOST_VM_INFO64_COUNT;
        if (host_statistics64(mach_host_self(), HOST_VM_INFO64, reinterpret_cast<host_info64_t>(&vm), &count) ==
            KERN_SUCCESS) {
            counts = VMCounts{vm.internal_page_count,   vm.purgeable_count,     vm.wire_count,
                              vm.compressor_page_count, vm.external_page_count, vm.free_count};
        }
        xsw_usage swap{};
        size_t size = sizeof swap;
        const bool haveSwap = sysctlbyname("vm.swapusage", &swap, &size, nullptr, 0) == 0;
        return memoryFromVMCounts(MachineInfo::current().memory, counts, vm_kernel_page_size,
                                  haveSwap ? swap.xsu_used : 0, haveSwap ? swap.xsu_total : 0,
                                  Sysctl::integer("kern.memorystatus_level"),
                                  Sysctl::integer("kern.memorystatus_vm_pressure_level"));
    }
};

class DarwinNetwork : public NetworkSource {
public:
    std::optional<ByteCounters> counters() override {
        int mib[6] = {CTL_NET, PF_ROUTE, 0, 0, NET_RT_IFLIST2, 0};
        size_t size = 0;
        if (sysctl(mib, 6, nullptr, &size, nullptr, 0) != 0 || size == 0) return std::nullopt;
        std::vector<char> buffer(size);
        if (sysctl(mib, 6, buffer.data(), &size, nullptr, 0) != 0) return std::nullopt;
        ByteCounters sums;
        char name[IF_NAMESIZE + 1];
        for (size_t offset = 0; offset + sizeof(if_msghdr) <= size;) {
            auto* header = reinterpret_cast<const if_msghdr*>(buffer.data() + offset);
            if (header->ifm_msglen == 0) break;
            if (header->ifm_type == RTM_IFINFO2 && offset + sizeof(if_msghdr2) <= size) {
                auto* info = reinterpret_cast<const if_msghdr2*>(header);
                if (if_indextoname(info->ifm_index, name) && isCountedDarwinInterface(name)) {
                    sums.in += info->ifm_data.ifi_ibytes;
                    sums.out += info->ifm_data.ifi_obytes;
                }
            }
            offset += header->ifm_msglen;
        }
        return sums;
    }
};

std::optional<uint64_t> numberIn(CFDictionaryRef dictionary, CFStringRef key) {
    auto value = static_cast<CFNumberRef>(CFDictionaryGetValue(dictionary, key));
    if (!value || CFGetTypeID(value) != CFNumberGetTypeID()) return std::nullopt;
    int64_t number = 0;
    if (!CFNumberGetValue(value, kCFNumberSInt64Type, &number) || number < 0) return std::nullopt;
    return static_cast<uint64_t>(number);
}

class DarwinDisk : public DiskSource {
public:
    std::optional<ByteCounters> counters() override {
        io_iterator_t iterator = 0;
        if (IOServiceGetMatchingServices(MACH_PORT_NULL, IOServiceMatching("IOBlockStorageDriver"), &iterator) !=
            KERN_SUCCESS)
            return std::nullopt;
        ByteCounters sums;
        while (io_object_t driver = IOIteratorNext(iterator)) {
            CFTypeRef stats = IORegistryEntryCreateCFProperty(driver, CFSTR("Statistics"), kCFAllocatorDefault, 0);
            if (stats && CFGetTypeID(stats) == CFDictionaryGetTypeID()) {
                auto dictionary = static_cast<CFDictionaryRef>(stats);
                sums.in += numberIn(dictionary, CFSTR("Bytes (Read)")).value_or(0);
                sums.out += numberIn(dictionary, CFSTR("Bytes (Write)")).value_or(0);
            }
            if (stats) CFRelease(stats);
            IOObjectRelease(driver);
        }
        IOObjectRelease(iterator);
        return sums;
    }

    // Free space counts purgeable space as available, as Finder does.
    std::optional<VolumeSpace> space() override {
        CFURLRef root = CFURLCreateWithFileSystemPath(kCFAllocatorDefault, CFSTR("/"), kCFURLPOSIXPathStyle, true);
        if (!root) return std::nullopt;
        auto number = [&](CFStringRef key) -> std::optional<uint64_t> {
            CFTypeRef value = nullptr;
            std::optional<uint64_t> result;
            if (CFURLCopyResourcePropertyForKey(root, key, &value, nullptr) && value) {
                int64_t n = 0;
                if (CFGetTypeID(value) == CFNumberGetTypeID() &&
                    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &n) && n >= 0)
                    result = static_cast<uint64_t>(n);
                CFRelease(value);
            }
            return result;
        };
        auto total = number(kCFURLVolumeTotalCapacityKey);
        auto available = number(kCFURLVolumeAvailableCapacityForImportantUsageKey);
        CFRelease(root);
        if (!total || !available) return std::nullopt;
        return VolumeSpace{*total, *available};
    }
};

// "cluster-type" data whose first byte is 'P' marks a performance cluster.
std::vector<CPUStats::CoreType> registryCoreTypes(size_t cpuCount) {
    std::vector<CPUStats::CoreType> types(cpuCount, CPUStats::CoreType::unknown);
    io_iterator_t iterator = 0;
    if (IOServiceGetMatchingServices(MACH_PORT_NULL, IOServiceMatching("IOPlatformDevice"), &iterator) != KERN_SUCCESS)
        return types;
    bool found = false;
    while (io_object_t device = IOIteratorNext(iterator)) {
        CFTypeRef cluster = IORegistryEntryCreateCFProperty(device, CFSTR("cluster-type"), kCFAllocatorDefault, 0);
        CFTypeRef cpuID = IORegistryEntryCreateCFProperty(device, CFSTR("logical-cpu-id"), kCFAllocatorDefault, 0);
        if (cluster && cpuID && CFGetTypeID(cluster) == CFDataGetTypeID() &&
            CFGetTypeID(cpuID) == CFNumberGetTypeID() && CFDataGetLength(static_cast<CFDataRef>(cluster)) > 0) {
            int64_t id = -1;
            CFNumberGetValue(static_cast<CFNumberRef>(cpuID), kCFNumberSInt64Type, &id);
            if (id >= 0 && static_cast<size_t>(id) < cpuCount) {
                const UInt8 first = CFDataGetBytePtr(static_cast<CFDataRef>(cluster))[0];
                types[static_cast<size_t>(id)] =
                    first == 'P' ? CPUStats::CoreType::performance : CPUStats::CoreType::efficiency;
                found = true;
            }
        }
        if (cluster) CFRelease(cluster);
        if (cpuID) CFRelease(cpuID);
        IOObjectRelease(device);
    }
    IOObjectRelease(iterator);
    if (!found)
        return coreTypesFromCounts(cpuCount, Sysctl::integer("hw.perflevel0.logicalcpu").value_or(0),
                                   Sysctl::integer("hw.perflevel1.logicalcpu").value_or(0));
    return types;
}

std::string productVersion() {
    std::string version;
    CFURLRef url =
        CFURLCreateWithFileSystemPath(kCFAllocatorDefault, CFSTR("/System/Library/CoreServices/SystemVersion.plist"),
                                      kCFURLPOSIXPathStyle, false);
    if (!url) return version;
    CFReadStreamRef stream = CFReadStreamCreateWithFile(kCFAllocatorDefault, url);
    if (stream && CFReadStreamOpen(stream)) {
        CFPropertyListRef plist =
            CFPropertyListCreateWithStream(kCFAllocatorDefault, stream, 0, kCFPropertyListImmutable, nullptr, nullptr);
        if (plist && CFGetTypeID(plist) == CFDictionaryGetTypeID()) {
            auto value = static_cast<CFStringRef>(
                CFDictionaryGetValue(static_cast<CFDictionaryRef>(plist), CFSTR("ProductVersion")));
            char buffer[64];
            if (value && CFGetTypeID(value) == CFStringGetTypeID() &&
                CFStringGetCString(value, buffer, sizeof buffer, kCFStringEncodingUTF8))
                version = buffer;
        }
        if (plist) CFRelease(plist);
        CFReadStreamClose(stream);
    }
    if (stream) CFRelease(stream);
    CFRelease(url);
    return version;
}

}  // namespace

std::unique_ptr<CPUSource> makeCPUSource() { return std::make_unique<DarwinCPU>(); }
std::unique_ptr<MemorySource> makeMemorySource() { return std::make_unique<DarwinMemory>(); }
std::unique_ptr<NetworkSource> makeNetworkSource() { return std::make_unique<DarwinNetwork>(); }
std::unique_ptr<DiskSource> makeDiskSource() { return std::make_unique<DarwinDisk>(); }
std::optional<Date> readBootTime() { return Sysctl::bootTime(); }

MachineInfo readMachineInfo() {
    MachineInfo info;
    info.chipName = Sysctl::string("machdep.cpu.brand_string").value_or("");
    info.model = Sysctl::string("hw.model").value_or("");
    info.logicalCPUs = Sysctl::integer("hw.logicalcpu").value_or(0);
    info.performanceCores = Sysctl::integer("hw.perflevel0.logicalcpu").value_or(0);
    info.efficiencyCores = Sysctl::integer("hw.perflevel1.logicalcpu").value_or(0);
    info.memory = static_cast<uint64_t>(Sysctl::integer("hw.memsize").value_or(0));
    info.osName = "macOS";
    info.osVersion = productVersion();
    info.coreTypes = registryCoreTypes(static_cast<size_t>(std::max<int64_t>(info.logicalCPUs, 0)));
    return info;
}

}  // namespace qm
