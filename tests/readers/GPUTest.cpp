#include <gtest/gtest.h>

#include <cmath>

#include "SensorTestTree.h"
#include "readers/GPUUtilisation.h"
#include "readers/linux/GPUDrm.h"

namespace qm {
namespace {

using testing::fixtureRoot;
using testing::SensorTestTree;

TEST(GPU, BusiestAcceleratorCappedAt100) {
    EXPECT_EQ(busiestAccelerator({30, 55}), 55);
    EXPECT_EQ(busiestAccelerator({120}), 100);
    EXPECT_EQ(busiestAccelerator({-5}), 0);
    EXPECT_EQ(busiestAccelerator({std::nan(""), 12}), 12);
    EXPECT_FALSE(busiestAccelerator({}));
}

TEST(GPU, AcceleratorStatisticsKeys) {
    using json = nlohmann::json;
    EXPECT_EQ(acceleratorUtilisation(json{{"Device Utilization %", 37}, {"GPU Activity(%)", 80}}), 37);
    EXPECT_EQ(acceleratorUtilisation(json{{"GPU Activity(%)", 80}}), 80);
    EXPECT_FALSE(acceleratorUtilisation(json{{"Renderer Utilization %", 12}}));
    EXPECT_FALSE(acceleratorUtilisation(json{{"Device Utilization %", "busy"}}));
    EXPECT_FALSE(acceleratorUtilisation(json::array()));
}

TEST(GPU, DrmBusyPercentOfCardsOnly) {
    EXPECT_EQ(DrmGPUSource(fixtureRoot("amd-desktop")).read(), 4);  // card1 (i915) publishes none
    EXPECT_FALSE(DrmGPUSource(fixtureRoot("intel-laptop")).read());
    EXPECT_FALSE(DrmGPUSource("/nonexistent/qm-root").read());

    SensorTestTree tree("amd-desktop");
    tree.write("sys/class/drm/card1-DP-1/device/gpu_busy_percent", "99");  // a connector, not a card
    tree.write("sys/class/drm/card2/device/gpu_busy_percent", "63");
    DrmGPUSource source(tree.root());
    EXPECT_EQ(source.read(), 63);
    tree.write("sys/class/drm/card2/device/gpu_busy_percent", "garbage");
    tree.makeUnreadable("sys/class/drm/card0/device/gpu_busy_percent");
    EXPECT_FALSE(source.read());
}

}  // namespace
}  // namespace qm
