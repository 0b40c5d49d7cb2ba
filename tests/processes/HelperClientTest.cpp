#include <gtest/gtest.h>

#include "FakeHelperTransport.h"
#include "processes/HelperClient.h"

namespace qm {
namespace {

struct HelperFixture : ::testing::Test {
    ManualClock clock;
    test::FakeHelperTransport* transport = nullptr;
    std::unique_ptr<HelperClient> client;
    void SetUp() override {
        auto t = std::make_unique<test::FakeHelperTransport>();
        transport = t.get();
        client = std::make_unique<HelperClient>(std::move(t), clock);
    }
};

TEST_F(HelperFixture, SilentDaemonIsLeftAloneForThirtySeconds) {
    EXPECT_FALSE(client->sample(0.6));  // no reply: time-out
    EXPECT_EQ(transport->requests, 1);
    EXPECT_EQ(transport->invalidations, 1);
    for (int i = 0; i < 29; ++i) {
        clock.advance(1);
        EXPECT_FALSE(client->sample(0.6));
    }
    EXPECT_EQ(transport->requests, 1);
    clock.advance(1);
    transport->reply = std::vector<uint8_t>(128, 0);
    auto batch = client->sample(0.6);
    ASSERT_TRUE(batch);
    EXPECT_EQ(batch->size(), 2u);
    EXPECT_EQ(transport->requests, 2);

    // A connection that broke between ticks starts the back-off too.
    transport->lost = true;
    clock.advance(1);
    EXPECT_FALSE(client->sample(0.6));
    EXPECT_EQ(transport->requests, 2);
}

TEST_F(HelperFixture, ApprovalIsNoticedWithinTwentySeconds) {
    transport->enabled = false;
    transport->reply = std::vector<uint8_t>{};
    EXPECT_FALSE(client->sample(0.6));
    transport->enabled = true;  // the user approves the daemon
    clock.advance(10);
    EXPECT_FALSE(client->sample(0.6)) << "the cached answer still says disabled";
    EXPECT_EQ(transport->enabledChecks, 1);
    EXPECT_EQ(transport->requests, 0);
    clock.advance(10.5);
    auto batch = client->sample(0.6);
    ASSERT_TRUE(batch);
    EXPECT_TRUE(batch->empty());
    EXPECT_EQ(transport->enabledChecks, 2);
}

TEST(RawProcRecord, UnpacksWholeLittleEndianRecordsOnly) {
    RawProcRecord a{-1, 0, 1, 2, 3, 4, 5, 6, 0x0102030405060708ull};
    RawProcRecord b{70000, 0, ~0ull, 0, 0, 0, 0, 0, 0};
    std::vector<uint8_t> wire;
    a.packInto(wire);
    b.packInto(wire);
    ASSERT_EQ(wire.size(), 128u);
    EXPECT_EQ(wire[56], 0x08) << "little-endian on the wire";
    auto records = RawProcRecord::unpack(wire);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].pid, -1);
    EXPECT_EQ(records[0].wakeups, 0x0102030405060708ull);
    EXPECT_EQ(records[0].diskWrite, 6u);
    EXPECT_EQ(records[1].pid, 70000);
    EXPECT_EQ(records[1].userTime, ~0ull);

    wire.resize(100);
    EXPECT_TRUE(RawProcRecord::unpack(wire).empty());
    EXPECT_TRUE(RawProcRecord::unpack(nullptr, 0).empty());
}

}  // namespace
}  // namespace qm
