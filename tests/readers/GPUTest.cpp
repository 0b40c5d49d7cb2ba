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

// A machine whose GPU publishes nothing is looked at again once a minute, not every
// tick; a card that goes away is noticed at once, one that comes within the minute.
TEST(GPU, MissingCardsAreLookedForOnceAMinute) {
    SensorTestTree tree("intel-laptop");
    double now = 1000;
    DrmGPUSource source(tree.root(), [&] { return now; });
    EXPECT_FALSE(source.read());
    tree.write("sys/class/drm/card3/device/gpu_busy_percent", "41");  // an external GPU arrives
    now += 30;
    EXPECT_FALSE(source.read()) << "not looked for again within the minute";
    now += 30;
    EXPECT_EQ(source.read(), 41);
    tree.write("sys/class/drm/card3/device/gpu_busy_percent", "57");
    now += 1;
    EXPECT_EQ(source.read(), 57) << "a known card is read every time";
    tree.remove("sys/class/drm/card3");
    EXPECT_FALSE(source.read()) << "a card that went away is not counted";
    now -= 500;  // a clock that went back rescans rather than waiting
    tree.write("sys/class/drm/card4/device/gpu_busy_percent", "12");
    EXPECT_EQ(source.read(), 12);
}

}  // namespace
}  // namespace qm
