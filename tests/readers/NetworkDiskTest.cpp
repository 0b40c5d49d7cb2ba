#include <gtest/gtest.h>

#include "core/Clock.h"
#include "readers/DiskReader.h"
#include "readers/NetworkReader.h"

namespace qm {
namespace {

// Counters and space the test sets between reads; absent means the query fails.
struct Counters {
    std::optional<ByteCounters> bytes;
    std::optional<VolumeSpace> space;
    int spaceQueries = 0;
};

class FakeNetwork : public NetworkSource {
public:
    explicit FakeNetwork(Counters* c) : c_(c) {}
    std::optional<ByteCounters> counters() override { return c_->bytes; }

private:
    Counters* c_;
};

class FakeDisk : public DiskSource {
public:
    explicit FakeDisk(Counters* c) : c_(c) {}
    std::optional<ByteCounters> counters() override { return c_->bytes; }
    std::optional<VolumeSpace> space() override { return ++c_->spaceQueries, c_->space; }

private:
    Counters* c_;
};

TEST(NetworkReaderTest, RatesFromCounterDifferences) {
    Counters c{ByteCounters{1000, 500}, {}};
    ManualClock clock;
    NetworkReader reader(std::make_unique<FakeNetwork>(&c), clock);

    NetworkStats first = reader.read();
    EXPECT_EQ(first.rxRate, 0);
    EXPECT_EQ(first.txRate, 0);
    EXPECT_EQ(first.rxTotal, 1000u) << "the first read already reports the totals";
    EXPECT_EQ(first.txTotal, 500u);

    clock.advance(2);
    c.bytes = ByteCounters{3000, 600};
    NetworkStats second = reader.read();
    EXPECT_DOUBLE_EQ(second.rxRate, 1000);
    EXPECT_DOUBLE_EQ(second.txRate, 50);

    c.bytes = ByteCounters{3001, 600};  // no time has passed
    EXPECT_DOUBLE_EQ(reader.read().rxRate, 1 / 0.001);

    clock.advance(1);
    c.bytes = ByteCounters{4000, 100};  // an interface vanished: sent bytes went down
    NetworkStats dropped = reader.read();
    EXPECT_EQ(dropped.rxRate, 0);
    EXPECT_EQ(dropped.txRate, 0);
    EXPECT_EQ(dropped.txTotal, 100u);

    clock.advance(1);
    c.bytes = ByteCounters{4100, 200};
    EXPECT_DOUBLE_EQ(reader.read().txRate, 100) << "the lower counters are the new baseline";
}

TEST(NetworkReaderTest, ReadAfterAFailedQueryCountsAsAFirstRead) {
    Counters c{ByteCounters{1000, 1000}, {}};
    ManualClock clock;
    NetworkReader reader(std::make_unique<FakeNetwork>(&c), clock);
    reader.read();

    clock.advance(1);
    c.bytes.reset();
    NetworkStats failed = reader.read();
    EXPECT_EQ(failed.rxRate, 0);
    EXPECT_EQ(failed.rxTotal, 0u);

    clock.advance(1);
    c.bytes = ByteCounters{5'000'000'000, 5'000'000'000};
    NetworkStats back = reader.read();
    EXPECT_EQ(back.rxRate, 0) << "the whole cumulative sum is not one interval's traffic";
    EXPECT_EQ(back.txRate, 0);
    EXPECT_EQ(back.rxTotal, 5'000'000'000u);
}

TEST(NetworkReaderTest, DarwinInterfacesThatNeverCount) {
    for (const char* name : {"lo0", "utun3", "awdl0", "llw0", "gif0", "stf0", "anpi1", "ipsec0", "ap1"})
        EXPECT_FALSE(isCountedDarwinInterface(name)) << name;
    for (const char* name : {"en0", "en5", "bridge0", "pdp_ip0"}) EXPECT_TRUE(isCountedDarwinInterface(name)) << name;
}

TEST(DiskReaderTest, RatesLikeTheNetworkAndSpaceAtMostOnceAMinute) {
    Counters c{ByteCounters{0, 0}, VolumeSpace{1000, 400}};
    ManualClock clock;
    DiskReader reader(std::make_unique<FakeDisk>(&c), clock);

    DiskStats first = reader.read();
    EXPECT_EQ(first.readRate, 0);
    EXPECT_EQ(first.totalSpace, 1000u);
    EXPECT_EQ(first.freeSpace, 400u);

    clock.advance(4);
    c.bytes = ByteCounters{4096, 8192};
    c.space = VolumeSpace{1000, 300};
    DiskStats second = reader.read();
    EXPECT_DOUBLE_EQ(second.readRate, 1024);
    EXPECT_DOUBLE_EQ(second.writeRate, 2048);
    EXPECT_EQ(second.freeSpace, 400u) << "space is cached";

    clock.advance(56);  // exactly 60 s after the query: still cached
    EXPECT_EQ(reader.read().freeSpace, 400u);
    EXPECT_EQ(c.spaceQueries, 1);

    clock.advance(1);
    c.bytes = ByteCounters{0, 0};  // a USB disk was unplugged: its counters vanish
    DiskStats unplugged = reader.read();
    EXPECT_EQ(unplugged.freeSpace, 300u);
    EXPECT_EQ(unplugged.readRate, 0);
    EXPECT_EQ(unplugged.writeRate, 0);
    EXPECT_EQ(c.spaceQueries, 2);
}

TEST(DiskReaderTest, FailedSpaceQueryKeepsZerosUntilTheNextMinute) {
    Counters c{ByteCounters{0, 0}, std::nullopt};
    ManualClock clock;
    DiskReader reader(std::make_unique<FakeDisk>(&c), clock);
    EXPECT_EQ(reader.read().totalSpace, 0u);
    c.space = VolumeSpace{1000, 400};
    clock.advance(30);
    EXPECT_EQ(reader.read().totalSpace, 0u);
    clock.advance(31);
    EXPECT_EQ(reader.read().totalSpace, 1000u);
    EXPECT_EQ(c.spaceQueries, 2);
}

}  // namespace
}  // namespace qm
