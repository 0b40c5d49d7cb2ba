#include <gtest/gtest.h>

#include "readers/MachineInfo.h"

namespace qm {
namespace {

using CoreType = CPUStats::CoreType;
constexpr auto P = CoreType::performance;
constexpr auto E = CoreType::efficiency;
constexpr auto U = CoreType::unknown;

TEST(CoreTypesTest, FromHybridCPULists) {
    EXPECT_EQ(coreTypesFromLists({0, 1, 2, 3, 4, 5}, {0, 1, 2, 3}, {4, 5}), (std::vector<CoreType>{P, P, P, P, E, E}));
    EXPECT_EQ(coreTypesFromLists({0, 1, 2, 3}, {0, 1}, {}), (std::vector<CoreType>{P, P, U, U}))
        << "unlisted CPUs stay unknown";
    EXPECT_EQ(coreTypesFromLists({0, 1}, {-1, 0, 7}, {9}), (std::vector<CoreType>{P, U}));
    EXPECT_TRUE(coreTypesFromLists({}, {0}, {1}).empty());
    // nosmt on a 6P+8E machine: the odd siblings of the performance cores are offline,
    // and the efficiency cores keep their own numbers.
    EXPECT_EQ(coreTypesFromLists({0, 2, 4, 12, 13}, {0, 2, 4, 6, 8, 10}, {12, 13, 14}),
              (std::vector<CoreType>{P, P, P, E, E}));
}

TEST(CoreTypesTest, FromCapacities) {
    EXPECT_EQ(coreTypesFromCapacities({1024, 1024, 446, 446}), (std::vector<CoreType>{P, P, E, E}));
    EXPECT_EQ(coreTypesFromCapacities({512, 1024, 768}), (std::vector<CoreType>{E, P, E}))
        << "exactly in the middle is not near the top";
    // Three levels (prime, big, little): the big cores are performance cores too.
    EXPECT_EQ(coreTypesFromCapacities({325, 325, 325, 325, 870, 870, 870, 1024}),
              (std::vector<CoreType>{E, E, E, E, P, P, P, P}));
    EXPECT_EQ(coreTypesFromCapacities({1024, 1024}), (std::vector<CoreType>{U, U})) << "a symmetric machine";
    EXPECT_EQ(coreTypesFromCapacities({1024, std::nullopt}), (std::vector<CoreType>{U, U}));
    EXPECT_TRUE(coreTypesFromCapacities({}).empty());
}

TEST(CoreTypesTest, FromPerformanceLevelCounts) {
    EXPECT_EQ(coreTypesFromCounts(6, 4, 2), (std::vector<CoreType>{P, P, P, P, E, E}));
    EXPECT_EQ(coreTypesFromCounts(6, 4, 4), std::vector<CoreType>(6, U)) << "counts that do not add up";
    EXPECT_EQ(coreTypesFromCounts(4, 4, 0), std::vector<CoreType>(4, U)) << "one level only: nothing to tell apart";
    EXPECT_EQ(coreTypesFromCounts(2, -1, 3), std::vector<CoreType>(2, U));
}

TEST(MachineInfoTest, SystemNameAvoidsRepeatingTheVersion) {
    MachineInfo info;
    info.osName = "macOS";
    info.osVersion = "14.4.1";
    EXPECT_EQ(info.systemName(), "macOS 14.4.1");
    info.osName = "Debian GNU/Linux 12 (bookworm)";
    info.osVersion = "12";
    EXPECT_EQ(info.systemName(), "Debian GNU/Linux 12 (bookworm)");
    info.osName = "Arch Linux";
    info.osVersion = "";
    EXPECT_EQ(info.systemName(), "Arch Linux");
}

}  // namespace
}  // namespace qm
