#include <gtest/gtest.h>

#include "core/FileRead.h"
#include "readers/MemoryMapping.h"

namespace qm {
namespace {

constexpr uint64_t KB = 1024;

TEST(MeminfoTest, ParsesKilobytesBareCountsAndSkipsMalformedLines) {
    Meminfo info = parseMeminfo(
        "MemTotal:       16000 kB\n"
        "HugePages_Total:     12\n"
        "Broken line without colon\n"
        "Garbage:        12x kB\n"
        "Empty:\n"
        "MemFree:  42 kB");  // no final newline
    EXPECT_EQ(info.at("MemTotal"), 16000 * KB);
    EXPECT_EQ(info.at("HugePages_Total"), 12u) << "counts without a unit are not scaled";
    EXPECT_EQ(info.at("MemFree"), 42 * KB);
    EXPECT_FALSE(info.contains("Garbage"));
    EXPECT_FALSE(info.contains("Empty"));
    EXPECT_TRUE(parseMeminfo("").empty());
}

TEST(MeminfoTest, MapsFieldsToMemoryStats) {
    Meminfo info = parseMeminfo(
        "MemTotal: 1000 kB\nMemFree: 100 kB\nMemAvailable: 250 kB\nCached: 300 kB\nSReclaimable: 50 kB\n"
        "Shmem: 20 kB\nAnonPages: 400 kB\nUnevictable: 1 kB\nSUnreclaim: 2 kB\nKernelStack: 3 kB\n"
        "PageTables: 4 kB\nSwapTotal: 500 kB\nSwapFree: 300 kB\nSwapCached: 50 kB\nZswap: 70 kB\n"
        "Buffers: 5 kB\nMlocked: 1 kB\n");
    MemoryStats m = memoryFromMeminfo(info, std::nullopt);
    EXPECT_EQ(m.total, 1000 * KB);
    EXPECT_EQ(m.app, 420 * KB) << "anonymous pages and shared memory";
    EXPECT_EQ(m.wired, 75 * KB) << "the rest of the installed memory: the kernel's own";
    EXPECT_EQ(m.cached, 335 * KB) << "buffers, page cache and reclaimable slab, less shared memory";
    EXPECT_EQ(m.free, 100 * KB);
    EXPECT_EQ(m.swapTotal, 500 * KB);
    EXPECT_EQ(m.swapUsed, 150 * KB) << "swap cached in memory is not in use";
    EXPECT_DOUBLE_EQ(m.pressure, 75.0);
    EXPECT_EQ(m.pressureLevel, PressureLevel::normal);

    EXPECT_EQ(m.compressed, 70 * KB) << "zswap counts when there is no zram";
    EXPECT_EQ(memoryFromMeminfo(info, 9000).compressed, 9000 + 70 * KB) << "zram and zswap both count";
}

TEST(MeminfoTest, ClampsInsteadOfWrapping) {
    Meminfo info = parseMeminfo(
        "MemTotal: 1000 kB\nMemAvailable: 1200 kB\nCached: 10 kB\nSReclaimable: 0 kB\nShmem: 40 kB\n"
        "SwapTotal: 100 kB\nSwapFree: 90 kB\nSwapCached: 30 kB\n");
    MemoryStats m = memoryFromMeminfo(info, std::nullopt);
    EXPECT_EQ(m.cached, 0u);
    EXPECT_EQ(m.swapUsed, 0u);
    EXPECT_DOUBLE_EQ(m.pressure, 0.0);
    EXPECT_EQ(m.swapTotal, 100 * KB);

    // Kernels before MemAvailable, or a meminfo without MemTotal: no pressure figure.
    EXPECT_DOUBLE_EQ(memoryFromMeminfo(parseMeminfo("MemTotal: 1000 kB\nMemFree: 1 kB\n"), {}).pressure, 0.0);
    MemoryStats noTotal = memoryFromMeminfo(parseMeminfo("MemAvailable: 10 kB\n"), {});
    EXPECT_EQ(noTotal.total, 0u);
    EXPECT_DOUBLE_EQ(noTotal.pressure, 0.0);
    EXPECT_EQ(memoryFromMeminfo({}, {}), MemoryStats{});
}

// Real meminfo files: a Debian VM (6.1, with MemAvailable) and an older server kernel
// without it. The parts add up to MemTotal exactly, the kernel's unnamed allocations
// are wired, and "used" is what free counted as used before it switched to available.
TEST(MeminfoTest, RealFilesAddUpAndBrokenOnesStayWhole) {
    for (const char* name : {"meminfo/debian-vm", "sample-machine/proc/meminfo"}) {
        const Meminfo info = parseMeminfo(readFile(std::string(QM_FIXTURES) + "/linux/" + name).value_or(""));
        ASSERT_TRUE(info.contains("MemTotal")) << name;
        const MemoryStats m = memoryFromMeminfo(info, std::nullopt);
        EXPECT_EQ(m.app + m.wired + m.compressed + m.cached + m.free, m.total) << name;
        const uint64_t named = info.at("SUnreclaim") + info.at("KernelStack") + info.at("PageTables");
        EXPECT_GE(m.wired, named) << name;
        EXPECT_LT(m.wired, m.total / 20) << name << ": the kernel's part, not a lost share of the machine";
        EXPECT_EQ(m.used(), m.total - info.at("MemFree") - info.at("Buffers") - info.at("Cached") -
                                info.at("SReclaimable") + info.at("Shmem"))
            << name;
    }

    // Fields that cannot all be true at once (free memory read a moment after the cache
    // grew): the kernel keeps its named part, the cache gives way, nothing wraps.
    Meminfo racy = parseMeminfo(readFile(std::string(QM_FIXTURES) + "/linux/meminfo/debian-vm").value_or(""));
    racy["MemFree"] += 300 * 1024 * KB;
    const MemoryStats m = memoryFromMeminfo(racy, std::nullopt);
    EXPECT_EQ(m.app + m.wired + m.compressed + m.cached + m.free, m.total);
    EXPECT_EQ(m.wired, racy.at("SUnreclaim") + racy.at("KernelStack") + racy.at("PageTables") + racy.at("Unevictable") -
                           racy.at("Mlocked"));
    EXPECT_EQ(m.free, racy.at("MemFree"));
    for (uint64_t part : {m.app, m.wired, m.compressed, m.cached, m.free}) EXPECT_LE(part, m.total);

    // Everything claimed at once: the cache and free memory are both used up, never below 0.
    Meminfo absurd = parseMeminfo(
        "MemTotal: 1000 kB\nMemFree: 900 kB\nCached: 900 kB\nAnonPages: 300 kB\n"
        "SUnreclaim: 50 kB\nUnevictable: 5 kB\nMlocked: 10 kB\n");
    const MemoryStats a = memoryFromMeminfo(absurd, std::nullopt);
    EXPECT_EQ(a.wired, 50 * KB) << "more locked than unevictable counts nothing, not a wrapped figure";
    EXPECT_EQ(a.cached, 0u);
    EXPECT_EQ(a.free, 650 * KB);
    EXPECT_EQ(a.app + a.wired + a.compressed + a.cached + a.free, a.total);
}

TEST(PressureTest, StallSharesAndAvailableMemoryGiveTheLevel) {
    EXPECT_EQ(levelFromStallShares(0, 0), PressureLevel::normal);
    EXPECT_EQ(levelFromStallShares(9.99, 9.99), PressureLevel::normal);
    EXPECT_EQ(levelFromStallShares(10, 0), PressureLevel::warning);
    EXPECT_EQ(levelFromStallShares(39.9, 0), PressureLevel::warning);
    EXPECT_EQ(levelFromStallShares(40, 0), PressureLevel::critical);
    EXPECT_EQ(levelFromStallShares(12, 10), PressureLevel::critical);

    EXPECT_EQ(levelFromAvailable(50, 1000), PressureLevel::warning) << "exactly 5 % is not below 5 %";
    EXPECT_EQ(levelFromAvailable(49, 1000), PressureLevel::critical);
    EXPECT_EQ(levelFromAvailable(149, 1000), PressureLevel::warning);
    EXPECT_EQ(levelFromAvailable(150, 1000), PressureLevel::normal);
    EXPECT_EQ(levelFromAvailable(0, 0), PressureLevel::normal) << "no total, no verdict";
}

TEST(PressureTest, ParsesStallFilesAndRejectsBrokenOnes) {
    auto stall = parsePressureStall(
        "some avg10=12.50 avg60=2.00 avg300=3.85 total=1500\n"
        "full avg10=0.20 avg60=3.00 avg300=4.95 total=250\n");
    ASSERT_TRUE(stall);
    EXPECT_EQ(stall->someTotal, 1500u);
    EXPECT_EQ(stall->fullTotal, 250u);
    EXPECT_DOUBLE_EQ(stall->someAvg10, 12.5);
    EXPECT_DOUBLE_EQ(stall->fullAvg10, 0.2);

    auto someOnly = parsePressureStall("some avg10=1.00 avg60=0 avg300=0 total=7");  // older kernels
    ASSERT_TRUE(someOnly);
    EXPECT_EQ(someOnly->fullTotal, 0u);

    EXPECT_FALSE(parsePressureStall("full avg10=0.20 total=250\n")) << "no some line";
    EXPECT_FALSE(parsePressureStall("some avg10=1.00 total=abc\n"));
    EXPECT_FALSE(parsePressureStall(""));
}

TEST(ZramTest, ThirdFieldOfMmStatIsTheMemoryUsed) {
    EXPECT_EQ(parseZramUsed("  4096  1024  8192  0  8192  0  0  0  0\n"), 8192u);
    EXPECT_FALSE(parseZramUsed("4096 1024"));
    EXPECT_FALSE(parseZramUsed("4096 1024 lots"));
    EXPECT_FALSE(parseZramUsed(""));

    EXPECT_EQ(zramDeviceUsed("8589934592\n", "4096 1024 8192 0 8192 0 0 0 0\n"), 8192u);
    EXPECT_FALSE(zramDeviceUsed("0\n", "4096 1024 8192 0 8192 0 0 0 0\n")) << "never set up";
    EXPECT_FALSE(zramDeviceUsed("8589934592", "0 0 0 0 0 0 0 0 0")) << "set up, holds nothing";
    EXPECT_FALSE(zramDeviceUsed("8589934592", ""));
    EXPECT_FALSE(zramDeviceUsed("", "1 1 1"));
    EXPECT_FALSE(zramDeviceUsed("big", "1 1 1"));
}

TEST(VMCountsTest, PagesBecomeBytesAndPurgeableNeverWraps) {
    VMCounts vm{1000, 100, 50, 20, 300, 40};
    MemoryStats m = memoryFromVMCounts(16 * KB * KB, vm, 16384, 5, 10, 70, 1);
    EXPECT_EQ(m.total, 16 * KB * KB);
    EXPECT_EQ(m.app, 900u * 16384);
    EXPECT_EQ(m.wired, 50u * 16384);
    EXPECT_EQ(m.compressed, 20u * 16384) << "pages the compressor occupies";
    EXPECT_EQ(m.cached, 400u * 16384) << "external plus purgeable";
    EXPECT_EQ(m.free, 40u * 16384);
    EXPECT_EQ(m.swapUsed, 5u);
    EXPECT_EQ(m.swapTotal, 10u);
    EXPECT_DOUBLE_EQ(m.pressure, 30.0);

    vm.purgeablePages = 1001;
    EXPECT_EQ(memoryFromVMCounts(0, vm, 16384, 0, 0, {}, {}).app, 0u);

    MemoryStats failed = memoryFromVMCounts(8, std::nullopt, 16384, 3, 4, 100, 4);
    EXPECT_EQ(failed.app + failed.wired + failed.compressed + failed.cached + failed.free, 0u);
    EXPECT_EQ(failed.total, 8u);
    EXPECT_EQ(failed.swapUsed, 3u) << "swap and pressure do not depend on the VM statistics";
    EXPECT_EQ(failed.pressureLevel, PressureLevel::critical);
}

TEST(VMCountsTest, KernelLevelAndPressureCodes) {
    auto pressure = [](std::optional<int64_t> level) {
        return memoryFromVMCounts(0, std::nullopt, 4096, 0, 0, level, std::nullopt).pressure;
    };
    EXPECT_DOUBLE_EQ(pressure(100), 0.0);
    EXPECT_DOUBLE_EQ(pressure(0), 100.0);
    EXPECT_DOUBLE_EQ(pressure(130), 0.0);
    EXPECT_DOUBLE_EQ(pressure(-5), 100.0);
    EXPECT_DOUBLE_EQ(pressure(std::nullopt), 0.0);

    auto level = [](std::optional<int64_t> code) {
        return memoryFromVMCounts(0, std::nullopt, 4096, 0, 0, std::nullopt, code).pressureLevel;
    };
    EXPECT_EQ(level(1), PressureLevel::normal);
    EXPECT_EQ(level(2), PressureLevel::warning);
    EXPECT_EQ(level(3), PressureLevel::normal) << "3 is not a defined code";
    EXPECT_EQ(level(4), PressureLevel::critical);
    EXPECT_EQ(level(std::nullopt), PressureLevel::normal);
}

}  // namespace
}  // namespace qm
