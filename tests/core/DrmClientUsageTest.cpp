#include <gtest/gtest.h>

#include "core/DrmClientUsage.h"

namespace qm {
namespace {

constexpr const char* amdgpuClient = R"(pos:	0
flags:	02100002
mnt_id:	24
ino:	1093
drm-driver:	amdgpu
drm-pdev:	0000:09:00.0
drm-client-id:	42
drm-memory-vram:	131072 KiB
drm-memory-gtt: 	2048 KiB
drm-memory-cpu: 	0 KiB
drm-engine-gfx:	1500000000 ns
drm-engine-compute:	0 ns
drm-engine-dec:	not-a-number ns
)";

constexpr const char* xeClient = R"(drm-driver:	xe
drm-pdev:	0000:03:00.0
drm-client-id:	5
drm-total-system:	8 MiB
drm-total-vram0:	24 MiB
drm-memory-vram0:	99 MiB
drm-cycles-rcs:	1000
drm-total-cycles-rcs:	50000
drm-cycles-vcs:	0
drm-total-cycles-vcs:	50000
drm-engine-capacity-vcs:	2
)";

TEST(DrmClientUsage, ReadsWhatTheDriversPublish) {
    auto amd = parseDrmClient(amdgpuClient);
    ASSERT_TRUE(amd);
    EXPECT_EQ(amd->driver, "amdgpu");
    EXPECT_EQ(amd->deviceKey(), "0000:09:00.0");
    EXPECT_EQ(amd->id, 42u);
    EXPECT_EQ(amd->memory, (131072u + 2048u) * 1024u) << "older drivers' per-region sizes add up";
    EXPECT_EQ(amd->engines.at("gfx").busy, 1'500'000'000u);
    EXPECT_FALSE(amd->engines.contains("dec")) << "a malformed value is left out";

    auto xe = parseDrmClient(xeClient);
    ASSERT_TRUE(xe);
    EXPECT_EQ(xe->memory, 32u * 1024 * 1024) << "totals win over the older keys for the same buffers";
    EXPECT_EQ(xe->engines.at("rcs").totalCycles, 50000u);
    EXPECT_EQ(xe->engines.at("vcs").capacity, 2u);
    EXPECT_FALSE(xe->engines.contains("total-cycles-rcs"));

    // Not a GPU client, or a driver that publishes half of what identifies one.
    EXPECT_FALSE(parseDrmClient("pos:\t0\nflags:\t02004002\nmnt_id:\t13\neventfd-count:    0\n"));
    EXPECT_FALSE(parseDrmClient("drm-driver:\ti915\ndrm-engine-render:\t5 ns\n"));
    EXPECT_FALSE(parseDrmClient(""));
    auto bare = parseDrmClient("drm-driver:\tpanfrost\ndrm-client-id:\t3\n");
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->deviceKey(), "panfrost") << "a device off the PCI bus is known by its driver";
    EXPECT_FALSE(bare->memory);
}

TEST(DrmClientUsage, SharesOverAnInterval) {
    auto before = *parseDrmClient(xeClient);
    auto after = before;
    after.engines["rcs"].busy += 25'000;
    after.engines["rcs"].totalCycles = *after.engines["rcs"].totalCycles + 100'000;
    after.engines["vcs"].busy += 100'000;
    after.engines["vcs"].totalCycles = *after.engines["vcs"].totalCycles + 100'000;
    after.engines["ccs"] = DrmEngineCounter{777, 777, 1};  // appeared meanwhile: no base yet
    auto shares = engineShares(before, after, 2'000'000'000);
    ASSERT_TRUE(shares);
    EXPECT_DOUBLE_EQ(shares->at("rcs"), 25.0) << "cycles measure against the GPU's clock, not ours";
    EXPECT_DOUBLE_EQ(shares->at("vcs"), 50.0) << "two video engines share the count";
    EXPECT_FALSE(shares->contains("ccs"));
    EXPECT_EQ(busiestEngine(*shares), 50.0);

    auto amd = *parseDrmClient(amdgpuClient);
    auto later = amd;
    later.engines["gfx"].busy += 300'000'000;
    EXPECT_DOUBLE_EQ(engineShares(amd, later, 1'000'000'000)->at("gfx"), 30.0);
    EXPECT_FALSE(engineShares(later, amd, 1'000'000'000)) << "a counter that went backwards measures nothing";
    EXPECT_FALSE(engineShares(amd, later, 0));
    later.engines["gfx"].busy += 5'000'000'000;
    EXPECT_EQ(busiestEngine(*engineShares(amd, later, 1'000'000'000)), 100.0);
    EXPECT_FALSE(busiestEngine({}));
}

// Two processes on one GPU, one of them with a child that inherited its client and a
// second descriptor of it: each client counts once for the card.
TEST(DrmClientUsage, TrackerSumsClientsPerDeviceAndPerProcess) {
    auto client = [](uint64_t id, uint64_t render, uint64_t video, std::optional<uint64_t> memory) {
        DrmClient c;
        c.driver = "i915";
        c.device = "0000:00:02.0";
        c.id = id;
        c.engines["render"].busy = render;
        c.engines["video"].busy = video;
        c.memory = memory;
        return c;
    };
    DrmClientTracker tracker;
    auto first = tracker.update({{100, client(7, 1'000'000'000, 0, 4096)},
                                 {100, client(7, 1'000'000'000, 0, 4096)},
                                 {101, client(7, 1'000'000'000, 0, 4096)},
                                 {200, client(8, 0, 0, std::nullopt)}},
                                10'000'000'000);
    EXPECT_TRUE(first.deviceBusy.empty()) << "the first reading is only a base";
    EXPECT_FALSE(first.processes.at(100).busy);
    EXPECT_EQ(first.processes.at(100).memory, 4096u) << "one client seen twice in a process counts once";
    EXPECT_FALSE(first.processes.at(200).memory);

    auto second = tracker.update({{100, client(7, 1'600'000'000, 0, 8192)},
                                  {101, client(7, 1'600'000'000, 0, 8192)},
                                  {200, client(8, 200'000'000, 500'000'000, std::nullopt)},
                                  {300, client(9, 50, 50, 1)}},
                                 12'000'000'000);
    EXPECT_DOUBLE_EQ(second.deviceBusy.at("0000:00:02.0"), 40.0) << "render 30 % + 10 %; video only 25 %";
    EXPECT_DOUBLE_EQ(*second.processes.at(100).busy, 30.0);
    EXPECT_DOUBLE_EQ(*second.processes.at(101).busy, 30.0);
    EXPECT_DOUBLE_EQ(*second.processes.at(200).busy, 25.0);
    EXPECT_FALSE(second.processes.at(300).busy) << "a new client has no interval yet";

    // Process 200 went away; client 7's counters were reset by the driver.
    auto third = tracker.update({{100, client(7, 10, 0, 8192)}, {300, client(9, 100'000'050, 50, 1)}}, 14'000'000'000);
    EXPECT_FALSE(third.processes.contains(200));
    EXPECT_FALSE(third.processes.at(100).busy);
    EXPECT_DOUBLE_EQ(*third.processes.at(300).busy, 5.0);
    EXPECT_DOUBLE_EQ(third.deviceBusy.at("0000:00:02.0"), 5.0);
    EXPECT_TRUE(tracker.update({}, 16'000'000'000).deviceBusy.empty());
}

}  // namespace
}  // namespace qm
