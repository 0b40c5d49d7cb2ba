// The Linux sources against a tree copied from a real machine, against broken copies
// of it, and once against this machine.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "core/Clock.h"
#include "core/FileRead.h"
#include "core/Paths.h"
#include "readers/CPUReader.h"
#include "readers/DiskReader.h"
#include "readers/LinuxFormats.h"
#include "readers/MachineInfo.h"
#include "readers/MemoryMapping.h"
#include "readers/NetworkReader.h"
#include "readers/Sources.h"

namespace qm {
namespace {

namespace fs = std::filesystem;
constexpr uint64_t KB = 1024;

// A writable copy of tests/fixtures/linux/<machine> that the sources read as the
// system root while it exists.
class MachineTree {
public:
    explicit MachineTree(const std::string& machine = "sample-machine") {
        std::string pattern = (fs::temp_directory_path() / "qm-linux-XXXXXX").string();
        if (::mkdtemp(pattern.data())) root_ = pattern;
        fs::copy(std::string(QM_FIXTURES) + "/linux/" + machine, root_, fs::copy_options::recursive);
        setSystemRootForTesting(root_);
    }
    ~MachineTree() {
        setSystemRootForTesting("");
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
    MachineTree(const MachineTree&) = delete;
    MachineTree& operator=(const MachineTree&) = delete;

    std::string path(const std::string& relative) const { return root_ + "/" + relative; }
    void write(const std::string& relative, const std::string& text) const {
        remove(relative);
        fs::path path = fs::path(root_) / relative;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }
    void append(const std::string& relative, const std::string& text) const {
        std::ofstream(fs::path(root_) / relative, std::ios::app) << text;
    }
    void remove(const std::string& relative) const {
        std::error_code ignored;
        fs::remove_all(fs::path(root_) / relative, ignored);
    }
    // A directory where the file was: it opens but cannot be read, as with EIO.
    void makeUnreadable(const std::string& relative) const {
        remove(relative);
        fs::create_directories(fs::path(root_) / relative);
    }

private:
    std::string root_;
};

TEST(LinuxSourcesTest, CPUCountersLoadAndBootTimeFromTheSampleMachine) {
    MachineTree tree;
    auto source = makeCPUSource();
    auto ticks = source->processorTicks();
    ASSERT_EQ(ticks.size(), 32u);
    EXPECT_EQ((std::vector<uint32_t>(ticks.begin(), ticks.begin() + 4)),
              (std::vector<uint32_t>{44490, 21045 + 1 + 3410, 1087069 + 220, 19}));
    EXPECT_EQ(source->loadAverage(), (std::array<double, 3>{0.02, 0.04, 0.05}));
    EXPECT_EQ(readBootTime(), 1418183276.0);

    // The same machine a little later: cpu0 spent 30 ticks busy and 70 idle, cpu1 100 idle.
    CPUReader reader(makeCPUSource(), {});
    reader.read();
    tree.write("proc/stat",
               "cpu0 44510 19 21055 1087139 220 1 3410 0 0 0\n"
               "cpu1 47869 23 16474 1110887 591 0 46 0 0 0\n"
               "cpu2 46504 36 15916 1112321 441 0 326 0 0 0\n"
               "cpu3 47054 102 15683 1113230 533 0 60 0 0 0\n"
               "cpu4 28413 25 10776 1140321 217 0 8 0 0 0\n"
               "cpu5 29271 101 11586 1136270 672 0 30 0 0 0\n"
               "cpu6 29152 36 10276 1139721 319 0 29 0 0 0\n"
               "cpu7 29098 268 10164 1139282 555 0 31 0 0 0\n");
    CPUStats stats = reader.read();
    ASSERT_EQ(stats.perCore.size(), 8u);
    EXPECT_DOUBLE_EQ(stats.perCore[0], 30.0);
    EXPECT_DOUBLE_EQ(stats.perCore[1], 0.0);
    EXPECT_DOUBLE_EQ(stats.total, 15.0) << "cores whose counters did not move do not count";
}

TEST(LinuxSourcesTest, BrokenProcStatGivesZerosNeverACrash) {
    MachineTree tree;
    tree.write("proc/stat", "cpu0 1 2 3 4\ncpu1 1 2\ncpu2 1 2 3 4\n");  // a short line
    EXPECT_EQ(makeCPUSource()->processorTicks().size(), 4u);
    EXPECT_FALSE(readBootTime());

    tree.makeUnreadable("proc/stat");
    CPUReader reader(makeCPUSource(), {});
    EXPECT_EQ(reader.read(), CPUStats{}) << "load too: the reader fails as a whole";
    tree.remove("proc/loadavg");
    tree.remove("proc/stat");
    EXPECT_FALSE(makeCPUSource()->loadAverage());
    tree.write("proc/loadavg", "0.5 zero 1\n");
    EXPECT_FALSE(makeCPUSource()->loadAverage());
}

TEST(LinuxSourcesTest, MemoryFromTheSampleMachine) {
    MachineTree tree;
    auto source = makeMemorySource();
    MemoryStats m = source->read();
    EXPECT_EQ(m.total, 15666184 * KB);
    EXPECT_EQ(m.app, (266216 + 1308) * KB) << "anonymous and shared memory";
    EXPECT_EQ(m.wired, 15666184 * KB - m.app - m.compressed - m.cached - m.free)
        << "the rest: the kernel's named allocations (75 MB) and the ones it does not name";
    EXPECT_EQ(m.compressed, 22414 * KB) << "zswap, as the machine has no zram";
    EXPECT_EQ(m.cached, (1020128 + 12007640 + 1738124 - 1308) * KB) << "buffers are cache too";
    EXPECT_EQ(m.free, 440324 * KB);
    EXPECT_EQ(m.app + m.wired + m.compressed + m.cached + m.free, m.total) << "the parts add up to the whole";
    EXPECT_GE(m.wired, (0 + 69140 + 1616 + 5288) * KB);
    EXPECT_EQ(m.swapTotal, 0u);
    EXPECT_EQ(m.swapUsed, 0u);
    EXPECT_DOUBLE_EQ(m.pressure, 0.0) << "this kernel predates MemAvailable";
    EXPECT_EQ(m.pressureLevel, PressureLevel::normal) << "first read: the kernel's 10 s averages, both low";

    // Ten seconds of full stall appear between two reads a moment apart.
    tree.write("proc/pressure/memory",
               "some avg10=0.10 avg60=2.00 avg300=3.85 total=10000015\n"
               "full avg10=0.20 avg60=3.00 avg300=4.95 total=10000025\n");
    EXPECT_EQ(source->read().pressureLevel, PressureLevel::critical);

    // Counters that went back (a reset): the 10 s averages decide again.
    tree.write("proc/pressure/memory",
               "some avg10=15.00 avg60=2.00 avg300=3.85 total=5\n"
               "full avg10=0.20 avg60=3.00 avg300=4.95 total=5\n");
    EXPECT_EQ(source->read().pressureLevel, PressureLevel::warning);
}

// 1 GiB written to /dev/shm: Shmem grows by it, and the file cache (Cached, which
// holds shared memory too) makes room for it.
TEST(LinuxSourcesTest, SharedMemoryCountsAsInUseAndThePartsStillAddUp) {
    MachineTree tree;
    const MemoryStats before = makeMemorySource()->read();
    std::string meminfo = readFile(tree.path("proc/meminfo")).value_or("");
    auto replace = [&](const std::string& from, const std::string& to) {
        meminfo.replace(meminfo.find(from), from.size(), to);
    };
    replace("Shmem:              1308 kB", "Shmem:           1049884 kB");
    tree.write("proc/meminfo", meminfo);
    const MemoryStats after = makeMemorySource()->read();
    EXPECT_EQ(after.app - before.app, 1024 * 1024 * KB);
    EXPECT_EQ(before.cached - after.cached, 1024 * 1024 * KB);
    EXPECT_EQ(after.app + after.wired + after.compressed + after.cached + after.free, after.total);
    EXPECT_EQ(after.wired, before.wired);
}

TEST(LinuxSourcesTest, ZramAndAvailableMemoryVariants) {
    MachineTree tree;
    const uint64_t zswap = 22414 * KB;  // the sample machine's zswap pool
    tree.write("sys/block/zram0/disksize", "8589934592\n");
    tree.write("sys/block/zram0/mm_stat", "4096 1024 8192 0 8192 0 0 0 0\n");
    tree.write("sys/block/zram1/disksize", "4294967296\n");
    tree.write("sys/block/zram1/mm_stat", "10 10 100 0 100 0 0 0 0\n");
    tree.write("sys/block/zram2/disksize", "0\n");  // a device that was never set up
    tree.write("sys/block/zram2/mm_stat", "0 0 4096 0 0 0 0 0 0\n");
    tree.write("sys/block/zram3/disksize", "4294967296\n");  // set up, holds nothing
    tree.write("sys/block/zram3/mm_stat", "0 0 0 0 0 0 0 0 0\n");
    tree.write("sys/block/zram4/disksize", "4294967296\n");
    tree.write("sys/block/zram4/mm_stat", "");                     // broken
    tree.write("sys/block/zram5/mm_stat", "1 1 1 1 1 1 1 1 1\n");  // no disksize file
    EXPECT_EQ(makeMemorySource()->read().compressed, 8292u + zswap) << "zram devices in use, and zswap's pool";

    // An idle zram device, as many distributions set up by default, beside zswap in use.
    tree.remove("sys/block/zram0");
    tree.remove("sys/block/zram1");
    EXPECT_EQ(makeMemorySource()->read().compressed, zswap) << "an unused device does not hide zswap";

    tree.remove("proc/pressure");
    tree.append("proc/meminfo", "MemAvailable:    1566618 kB\n");  // 10 % of MemTotal
    MemoryStats m = makeMemorySource()->read();
    EXPECT_NEAR(m.pressure, 90.0, 0.001);
    EXPECT_EQ(m.pressureLevel, PressureLevel::warning) << "without stall figures, from what is available";
}

TEST(LinuxSourcesTest, BrokenMeminfoGivesZeros) {
    MachineTree tree;
    tree.write("proc/meminfo", "MemFree: 12 kB\nCached: lots\nAnonPages\n");
    MemoryStats m = makeMemorySource()->read();
    EXPECT_EQ(m.total, 0u);
    EXPECT_EQ(m.free, 12 * KB);
    EXPECT_EQ(m.app, 0u);
    tree.makeUnreadable("proc/meminfo");
    EXPECT_EQ(makeMemorySource()->read(), MemoryStats{});
}

TEST(LinuxSourcesTest, NetworkCountsOnlyInterfacesBackedByADevice) {
    MachineTree tree;
    auto counters = makeNetworkSource()->counters();
    ASSERT_TRUE(counters.has_value());
    // eth0 only: lo, docker0 and the veth pair have no device.
    EXPECT_EQ(counters->in, 874354587u);
    EXPECT_EQ(counters->out, 563352563u);

    ManualClock clock;
    NetworkReader reader(makeNetworkSource(), clock);
    reader.read();
    clock.advance(5);
    tree.remove("sys/class/net/eth0/device");  // the adapter was unplugged
    NetworkStats gone = reader.read();
    EXPECT_EQ(gone.rxRate, 0);
    EXPECT_EQ(gone.rxTotal, 0u);

    tree.makeUnreadable("proc/net/dev");
    EXPECT_FALSE(makeNetworkSource()->counters());
    tree.write("proc/net/dev", "garbage\n\n:::\n");
    EXPECT_EQ(makeNetworkSource()->counters().value_or(ByteCounters{1, 1}).in, 0u);
}

TEST(LinuxSourcesTest, DiskCountsWholePhysicalDisks) {
    MachineTree tree;
    auto source = makeDiskSource();
    auto counters = source->counters();
    ASSERT_TRUE(counters);
    // sda and nvme0n1: not their partitions, dm-0 on top of them, ram, loop or the empty drives.
    EXPECT_EQ(counters->in, (uint64_t{1003346126} + 4643973) * 512);
    EXPECT_EQ(counters->out, (uint64_t{505697032} + 39451633) * 512);
    auto space = source->space();
    ASSERT_TRUE(space);
    EXPECT_GT(space->total, 0u);
    EXPECT_LE(space->free, space->total);

    ManualClock clock;
    DiskReader reader(makeDiskSource(), clock);
    reader.read();
    clock.advance(1);
    tree.remove("sys/block/nvme0n1");  // the disk vanished between two reads
    DiskStats gone = reader.read();
    EXPECT_EQ(gone.readRate, 0);
    EXPECT_EQ(gone.writeRate, 0);

    tree.write("proc/diskstats", "8 0 sda 1 2\n8 0 sda x 0 0 0 0 0 0 0 0 0 0\n");
    EXPECT_EQ(makeDiskSource()->counters().value_or(ByteCounters{1, 1}).in, 0u);
    tree.remove("proc/diskstats");
    EXPECT_FALSE(makeDiskSource()->counters());
}

TEST(LinuxSourcesTest, MachineInfoFromTheSampleMachine) {
    MachineTree tree;
    MachineInfo info = readMachineInfo();
    EXPECT_EQ(info.chipName, "Intel(R) Core(TM) i7-8650U CPU @ 1.90GHz");
    EXPECT_EQ(info.model, "PowerEdge R6515");
    EXPECT_EQ(info.osName, "Linux") << "no os-release in the copy";
    EXPECT_EQ(info.logicalCPUs, 8);
    EXPECT_EQ(info.memory, 15666184 * KB);
    EXPECT_EQ(info.coreTypes, std::vector<CPUStats::CoreType>(8, CPUStats::CoreType::unknown));
    EXPECT_EQ(info.performanceCores + info.efficiencyCores, 0);

    tree.write("etc/os-release",
               "NAME=\"Fedora Linux\"\nVERSION_ID=40\nPRETTY_NAME=\"Fedora Linux 40 (Workstation Edition)\"\n");
    tree.write("sys/devices/cpu_core/cpus", "0-5\n");
    tree.write("sys/devices/cpu_atom/cpus", "6-7\n");
    info = readMachineInfo();
    EXPECT_EQ(info.systemName(), "Fedora Linux 40 (Workstation Edition)");
    EXPECT_EQ(info.performanceCores, 6);
    EXPECT_EQ(info.efficiencyCores, 2);

    tree.remove("sys/devices/cpu_core");
    tree.remove("sys/devices/cpu_atom");
    for (int cpu = 0; cpu < 8; ++cpu)
        tree.write("sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpu_capacity", cpu < 2 ? "1024\n" : "446\n");
    info = readMachineInfo();
    EXPECT_EQ(info.performanceCores, 2);
    EXPECT_EQ(info.efficiencyCores, 6);

    // A hybrid machine with CPU 1 offline: /proc/stat skips it, and the types stay
    // with their cores instead of sliding down by one.
    tree.write("sys/devices/cpu_core/cpus", "0,2-5\n");
    tree.write("sys/devices/cpu_atom/cpus", "6-7\n");
    std::string stat = readFile(tree.path("proc/stat")).value_or("");
    stat.erase(stat.find("cpu1 "), stat.find("cpu2 ") - stat.find("cpu1 "));
    tree.write("proc/stat", stat);
    info = readMachineInfo();
    using CT = CPUStats::CoreType;
    EXPECT_EQ(info.logicalCPUs, 7);
    EXPECT_EQ(info.coreTypes, (std::vector<CT>{CT::performance, CT::performance, CT::performance, CT::performance,
                                               CT::performance, CT::efficiency, CT::efficiency}));
    tree.remove("sys/devices/cpu_core");
    tree.remove("sys/devices/cpu_atom");
    tree.write("sys/devices/system/cpu/cpu1/cpu_capacity", "garbage\n");  // offline: not read
    info = readMachineInfo();
    EXPECT_EQ(info.performanceCores, 1) << "capacities by CPU number too";
    EXPECT_EQ(info.efficiencyCores, 6);

    tree.remove("proc");
    tree.remove("sys");
    info = readMachineInfo();
    EXPECT_EQ(info.logicalCPUs, 0);
    EXPECT_TRUE(info.chipName.empty() && info.model.empty() && info.coreTypes.empty());
}

// This machine, read twice: honest bounds only.
TEST(LinuxSourcesLiveTest, ThisMachine) {
    setSystemRootForTesting("");
    const std::string stat = readFile("/proc/stat").value_or("");
    size_t cpuLines = 0;
    for (auto line : splitLines(stat))
        if (line.size() > 3 && line.starts_with("cpu") && line[3] >= '0' && line[3] <= '9') ++cpuLines;
    ASSERT_GT(cpuLines, 0u);

    CPUReader cpu(makeCPUSource(), MachineInfo::current().coreTypes);
    cpu.read();
    ::usleep(20'000);
    CPUStats stats = cpu.read();
    EXPECT_EQ(stats.perCore.size(), cpuLines);
    EXPECT_EQ(stats.coreTypes.size(), cpuLines);
    EXPECT_EQ(MachineInfo::current().logicalCPUs, static_cast<int64_t>(cpuLines));
    for (double core : stats.perCore) {
        EXPECT_GE(core, 0);
        EXPECT_LE(core, 100);
    }
    EXPECT_LE(stats.total, 100);
    EXPECT_GE(stats.load[0], 0);

    const Meminfo meminfo = parseMeminfo(readFile("/proc/meminfo").value_or(""));
    MemoryStats memory = makeMemorySource()->read();
    EXPECT_EQ(memory.total, meminfo.at("MemTotal"));
    EXPECT_LT(memory.used(), memory.total);
    EXPECT_GE(memory.pressure, 0);
    EXPECT_LE(memory.pressure, 100);
    EXPECT_EQ(MachineInfo::current().memory, memory.total);

    auto network = makeNetworkSource();
    auto disk = makeDiskSource();
    auto net1 = network->counters();
    auto disk1 = disk->counters();
    ASSERT_TRUE(net1 && disk1);
    auto net2 = network->counters();
    auto disk2 = disk->counters();
    EXPECT_GE(net2->in, net1->in);
    EXPECT_GE(net2->out, net1->out);
    EXPECT_GE(disk2->in, disk1->in);
    EXPECT_GE(disk2->out, disk1->out);

    auto space = disk->space();
    ASSERT_TRUE(space);
    EXPECT_GT(space->total, 0u);
    EXPECT_LE(space->free, space->total);
    auto boot = readBootTime();
    ASSERT_TRUE(boot);
    EXPECT_LT(*boot, Clock::system().now());
}

}  // namespace
}  // namespace qm
