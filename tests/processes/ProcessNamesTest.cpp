#include <gtest/gtest.h>

#include "processes/PSOutput.h"
#include "processes/ProcessNames.h"

namespace qm {
namespace {

TEST(ProcessNames, CPUTimeForms) {
    EXPECT_DOUBLE_EQ(parseCPUTime("1-02:03:04.50"), 93'784.5);
    EXPECT_DOUBLE_EQ(parseCPUTime("03:04.50"), 184.5);
    EXPECT_DOUBLE_EQ(parseCPUTime("0:00.01"), 0.01);
    EXPECT_DOUBLE_EQ(parseCPUTime("12"), 12);
    EXPECT_DOUBLE_EQ(parseCPUTime("01:xx:05"), 3605) << "an unparsable part counts 0";
    EXPECT_DOUBLE_EQ(parseCPUTime(""), 0);
    // Found by fuzzing: text that parses as a floating-point special, and chains longer
    // than ps writes.
    EXPECT_DOUBLE_EQ(parseCPUTime("NAN"), 0);
    EXPECT_DOUBLE_EQ(parseCPUTime("inf:00"), 0);
    EXPECT_DOUBLE_EQ(parseCPUTime("1-nan:00:01"), 86'401);
    EXPECT_DOUBLE_EQ(parseCPUTime("1:1:1:1:1:1:1:1"), 0);
    EXPECT_DOUBLE_EQ(parseCPUTime("0--5"), 0) << "no negative fields";
    EXPECT_DOUBLE_EQ(parseCPUTime("1e308-00:01"), 0) << "no overflow to infinity";
}

TEST(ProcessNames, VersionNamesAndFriendlyNames) {
    EXPECT_TRUE(looksLikeVersion("2.1.4"));
    EXPECT_TRUE(looksLikeVersion("1_0-3"));
    EXPECT_FALSE(looksLikeVersion(""));
    EXPECT_FALSE(looksLikeVersion("v2.1"));
    EXPECT_FALSE(looksLikeVersion("2to3"));

    EXPECT_EQ(friendlyName(std::string("/usr/local/bin/node"), "/x/versions/20.1"), "node");
    EXPECT_EQ(friendlyName(std::string("2.1.4"), "/home/u/mytool/versions/2.1.4"), "mytool");
    EXPECT_EQ(friendlyName(std::nullopt, "//home//u/mytool/versions/2.1.4/"), "mytool");
    EXPECT_EQ(friendlyName(std::nullopt, "/opt/2.1.4"), std::nullopt);
    EXPECT_EQ(friendlyName(std::nullopt, "versions/2.1.4"), std::nullopt) << "needs a directory above";
}

TEST(PSOutput, KeepsOtherUsersAndSkipsGarbage) {
    auto lines = parsePSOutput(
        "  312     0 1-00:00:01.00  2048\n"
        "\n"
        "  313   501 0:01.00  10\n"  // our own: skipped
        "garbage line here now\n"
        "  314\n"
        "  -5     0 0:01.00  10\n"
        "  315    88 0:00.50  nonsense\n"
        "  316  0 \xff\xfe 4\n",
        501);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].pid, 312);
    EXPECT_DOUBLE_EQ(lines[0].cpuSeconds, 86'401);
    EXPECT_EQ(lines[0].rss, 2'097'152u);
    EXPECT_EQ(lines[1].pid, 315);
    EXPECT_EQ(lines[1].rss, 0u);
    EXPECT_EQ(lines[2].pid, 316);
    EXPECT_EQ(lines[2].cpuSeconds, 0);
}

}  // namespace
}  // namespace qm
