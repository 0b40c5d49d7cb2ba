#include <gtest/gtest.h>

#include "core/FileRead.h"
#include "readers/LinuxFormats.h"

namespace qm {
namespace {

std::string fixture(const std::string& relative) {
    return readFile(std::string(QM_FIXTURES) + "/linux/sample-machine/" + relative).value_or("");
}

TEST(ProcStatTest, RealFileMapsTheKernelStatesToFourCounters) {
    const std::string text = fixture("proc/stat");
    ASSERT_FALSE(text.empty());
    auto counters = parseProcStatCPUs(text);
    ASSERT_EQ(counters.size(), 8u * 4) << "the aggregate cpu line is not a CPU";
    // cpu0 44490 19 21045 1087069 220 1 3410 0 0 0
    EXPECT_EQ(counters[0], 44490u);                 // user
    EXPECT_EQ(counters[1], 21045u + 1 + 3410 + 0);  // system + irq + softirq + steal
    EXPECT_EQ(counters[2], 1087069u + 220);         // idle + iowait
    EXPECT_EQ(counters[3], 19u);                    // nice
    // cpu7 29098 268 10164 1139282 555 0 31 0 0 0
    EXPECT_EQ(counters[28], 29098u);
    EXPECT_EQ(counters[31], 268u);
    EXPECT_EQ(parseBootTime(text), 1418183276);
    EXPECT_EQ(parseProcStatCPUNumbers(text), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
    // An offline CPU has no line: the numbers say which counters are whose.
    EXPECT_EQ(parseProcStatCPUNumbers("cpu 1 1 1 1\ncpu0 1 2 3 4\ncpu2 1 2 3 4\ncpu3 1 2 3 4\n"),
              (std::vector<int>{0, 2, 3}));
    EXPECT_EQ(parseProcStatCPUNumbers("cpu0 1 2 3 4\ncpu1 1 x 3 4\n"), (std::vector<int>{0}));
    EXPECT_TRUE(parseProcStatCPUNumbers("cpu99999999999999999999 1 2 3 4\n").empty());
}

TEST(ProcStatTest, MalformedLinesEndTheListAndNeverThrow) {
    EXPECT_EQ(parseProcStatCPUs("cpu0 1 2 3 4\n").size(), 4u) << "old kernels stop after idle";
    EXPECT_EQ(parseProcStatCPUs("cpu0 1 2 3 4\ncpu1 1 2\ncpu2 1 2 3 4\n").size(), 4u);
    EXPECT_EQ(parseProcStatCPUs("cpu0 1 2 3 4\ncpu1 1 x 3 4\ncpu2 1 2 3 4\n").size(), 4u);
    EXPECT_EQ(parseProcStatCPUs("cpu0 1 2 3 -4\n").size(), 0u);
    EXPECT_TRUE(parseProcStatCPUs("").empty());
    EXPECT_TRUE(parseProcStatCPUs("cpu  1 2 3 4\ncpufreq 1 2 3 4\nintr 1 2\n").empty());

    // Counters beyond 32 bits keep their low bits: the reader's differences wrap.
    auto big = parseProcStatCPUs("cpu0 4294967306 0 0 0\n");
    ASSERT_EQ(big.size(), 4u);
    EXPECT_EQ(big[0], 10u);

    EXPECT_FALSE(parseBootTime("cpu0 1 2 3 4\n"));
    EXPECT_FALSE(parseBootTime("btime soon\n"));
}

TEST(NetDevTest, RealAndMalformedInterfaceLines) {
    auto interfaces = parseNetDev(fixture("proc/net/dev"));
    ASSERT_EQ(interfaces.size(), 4u) << "the two header lines are not interfaces";
    EXPECT_EQ(interfaces[1].name, "lo");
    EXPECT_EQ(interfaces[3].name, "eth0");
    EXPECT_EQ(interfaces[3].rxBytes, 874354587u);
    EXPECT_EQ(interfaces[3].txBytes, 563352563u);

    auto odd = parseNetDev(
        "wlan0:12345678901 1 0 0 0 0 0 0 987 1 0 0 0 0 0 0\n"  // no blank after the colon
        "short: 1 2 3\n"
        "bad: x 0 0 0 0 0 0 0 1 0 0 0 0 0 0 0\n"
        ": 1 0 0 0 0 0 0 0 1\n");
    ASSERT_EQ(odd.size(), 1u);
    EXPECT_EQ(odd[0].name, "wlan0");
    EXPECT_EQ(odd[0].rxBytes, 12345678901u);
    EXPECT_EQ(odd[0].txBytes, 987u);
}

TEST(DiskstatsTest, RealAndMalformedLines) {
    auto disks = parseDiskstats(fixture("proc/diskstats"));
    ASSERT_EQ(disks.size(), 12u);
    EXPECT_EQ(disks[2].name, "sda");
    EXPECT_EQ(disks[2].sectorsRead, 1003346126u);
    EXPECT_EQ(disks[2].sectorsWritten, 505697032u);

    auto odd = parseDiskstats(
        "   8 0 sdb 326552 841 9657779 84 41822 2895 1972905 5007 0 60730 67070 68851 0 1925173784 11130\n"
        "   8 1 sdb1 250 0\n"
        "   8 2 sdb2 x 0 2000 36 0 0 y 0 0 36 36\n");
    ASSERT_EQ(odd.size(), 1u) << "kernels with discard and flush fields parse the same";
    EXPECT_EQ(odd[0].sectorsWritten, 1972905u);

    for (const char* name : {"loop0", "ram3", "zram0", "dm-2", "md127", "nbd0"})
        EXPECT_TRUE(isVirtualBlockDevice(name)) << name;
    for (const char* name : {"sda", "nvme0n1", "mmcblk0", "vda"}) EXPECT_FALSE(isVirtualBlockDevice(name)) << name;
}

TEST(CPUListTest, RangesSinglesAndJunk) {
    EXPECT_EQ(parseCPUList("0-3,8,10-11\n"), (std::vector<int>{0, 1, 2, 3, 8, 10, 11}));
    EXPECT_EQ(parseCPUList(" 5 "), (std::vector<int>{5}));
    EXPECT_TRUE(parseCPUList("").empty());
    EXPECT_TRUE(parseCPUList("\n").empty());
    EXPECT_EQ(parseCPUList("4-2,x,1-,7"), (std::vector<int>{7})) << "malformed parts are skipped";
    EXPECT_EQ(parseCPUList("0,"), (std::vector<int>{0}));
    EXPECT_TRUE(parseCPUList("0-4000000000").empty()) << "absurd ranges are not expanded";
}

TEST(OsReleaseTest, UnquotesValuesAndMatchesWholeKeys) {
    const char* text =
        "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"
        "NAME='Debian GNU/Linux'\n"
        "VERSION_ID=\"12\"\n"
        "ID=debian\n"
        "  HOME_URL=\"https://www.debian.org/\"  \n"
        "BROKEN=\"\n";
    EXPECT_EQ(osReleaseValue(text, "NAME"), "Debian GNU/Linux");
    EXPECT_EQ(osReleaseValue(text, "PRETTY_NAME"), "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(osReleaseValue(text, "ID"), "debian");
    EXPECT_EQ(osReleaseValue(text, "HOME_URL"), "https://www.debian.org/");
    EXPECT_EQ(osReleaseValue(text, "BROKEN"), "\"") << "an unmatched quote stays";
    EXPECT_FALSE(osReleaseValue(text, "VERSION"));
    EXPECT_FALSE(osReleaseValue("", "NAME"));
}

TEST(CPUInfoTest, ModelNameFromX86OrArm) {
    EXPECT_EQ(cpuModelName(fixture("proc/cpuinfo")), "Intel(R) Core(TM) i7-8650U CPU @ 1.90GHz");
    EXPECT_EQ(cpuModelName("processor\t: 0\nBogoMIPS\t: 108.00\nModel\t\t: Raspberry Pi 4 Model B Rev 1.4\n"),
              "Raspberry Pi 4 Model B Rev 1.4");
    EXPECT_EQ(cpuModelName("Hardware\t: BCM2835\nmodel name\t: ARMv7 Processor rev 4 (v7l)\n"),
              "ARMv7 Processor rev 4 (v7l)")
        << "model name wins over the board";
    EXPECT_FALSE(cpuModelName("model name\t:\nprocessor : 0\n"));
    EXPECT_FALSE(cpuModelName(""));
}

}  // namespace
}  // namespace qm
