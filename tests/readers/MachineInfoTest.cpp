#include <gtest/gtest.h>

#include "readers/MachineInfo.h"

namespace qm {
namespace {

using CoreType = CPUStats::CoreType;
constexpr auto P = CoreType::performance;
constexpr auto E = CoreType::efficiency;
constexpr auto U = CoreType::unknown;

TEST(CoreTypesTest, FromHybridCPULists) {
    EXPECT_EQ(coreTypesFromLists(6, {0, 1, 2, 3}, {4, 5}), (std::vector<CoreType>{P, P, P, P, E, E}));
    EXPECT_EQ(coreTypesFromLists(4, {0, 1}, {}), (std::vector<CoreType>{P, P, U, U})) << "unlisted CPUs stay unknown";
    EXPECT_EQ(coreTypesFromLists(2, {-1, 0, 7}, {9}), (std::vector<CoreType>{P, U})) << "out-of-range ids are ignored";
    EXPECT_TRUE(coreTypesFromLists(0, {0}, {1}).empty());
}

TEST(CoreTypesTest, FromCapacities) {
    EXPECT_EQ(coreTypesFromCapacities({1024, 1024, 446, 446}), (std::vector<CoreType>{P, P, E, E}));
    EXPECT_EQ(coreTypesFromCapacities({512, 1024, 768}), (std::vector<CoreType>{E, P, E}))
        << "only the biggest cores are performance cores";
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
