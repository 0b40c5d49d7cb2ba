#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

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
    DrmGPUSource amd(fixtureRoot("amd-desktop"));
    EXPECT_EQ(amd.read(), 4);  // card1 (i915) has no client to measure
    ASSERT_EQ(amd.devices().size(), 2u);
    EXPECT_EQ(amd.devices()[0], (GPUDevice{"AMD GPU", "amdgpu", 4, 1490378752, 8573157376, {}, {}}));
    EXPECT_EQ(amd.devices()[1], (GPUDevice{"Intel GPU", "i915", {}, {}, {}, {}, {}})) << "known, not measured";
    DrmGPUSource none(fixtureRoot("intel-laptop"));
    EXPECT_FALSE(none.read());
    EXPECT_TRUE(none.devices().empty());
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

// Intel's GPUs publish no busy figure: it is the clients' engine time over the
// interval, read from the fdinfo of the descriptors each process has open on the card.
TEST(GPU, IntelBusyFromItsClientsOverAnInterval) {
    SensorTestTree tree;
    tree.write("sys/class/drm/card0/device/uevent", "DRIVER=i915\nPCI_SLOT_NAME=0000:00:02.0");
    tree.write("sys/class/drm/card0/device/vendor", "0x8086");
    tree.write("sys/class/drm/renderD128/dev", "226:128");
    auto link = [&](const std::string& from, const std::string& to) {
        const auto path = std::filesystem::path(tree.root()) / from;
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::create_symlink(to, path);
    };
    auto client = [](int id, uint64_t render, uint64_t video) {
        return "pos:\t0\nflags:\t02100002\ndrm-driver:\ti915\ndrm-pdev:\t0000:00:02.0\ndrm-client-id:\t" +
               std::to_string(id) + "\ndrm-engine-render:\t" + std::to_string(render) + " ns\ndrm-engine-video:\t" +
               std::to_string(video) + " ns\ndrm-engine-capacity-video:\t2\ndrm-total-system0:\t4 MiB\n";
    };
    link("proc/100/fd/3", "/dev/null");
    tree.write("proc/100/fdinfo/3", "pos:\t0\nflags:\t0100002\nmnt_id:\t22");
    link("proc/100/fd/4", "/dev/dri/renderD128");
    tree.write("proc/100/fdinfo/4", client(7, 1'000'000'000, 0));
    link("proc/200/fd/9", "/dev/dri/card0");
    tree.write("proc/200/fdinfo/9", client(8, 0, 0));
    tree.write("proc/300/status", "Name:\tno-gpu");

    double now = 1000;
    DrmGPUSource source(tree.root(), [&] { return now; });
    EXPECT_FALSE(source.read()) << "the first reading is only a base";
    ASSERT_EQ(source.devices().size(), 1u);
    EXPECT_EQ(source.devices()[0].name, "Intel GPU");

    now += 2;
    tree.write("proc/100/fdinfo/4", client(7, 1'600'000'000, 0));
    tree.write("proc/200/fdinfo/9", client(8, 200'000'000, 1'000'000'000));
    EXPECT_DOUBLE_EQ(*source.read(), 40.0) << "render 30 % + 10 % is the busiest; video 25 %";
    EXPECT_FALSE(source.devices()[0].memoryUsed) << "an integrated GPU's memory is the machine's";

    // One client goes away, the other's counters are reset by the driver: nothing to
    // measure this time, and no figure is made up.
    now += 2;
    tree.remove("proc/200");
    tree.write("proc/100/fdinfo/4", client(7, 5, 0));
    EXPECT_FALSE(source.read());
    now += 2;
    tree.write("proc/100/fdinfo/4", client(7, 200'000'005, 0));
    EXPECT_DOUBLE_EQ(*source.read(), 10.0);
}

}  // namespace
}  // namespace qm
