#include "fmt/Fmt.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

namespace qm {
namespace {

constexpr double KiB = 1024.0, MiB = KiB * 1024, GiB = MiB * 1024;

class FmtTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US", "UTC"); }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }
};

TEST_F(FmtTest, NumberClampsPlacesAndRoundsHalfToEven) {
    EXPECT_EQ(Fmt::number(3.14159, 1), "3.1");
    EXPECT_EQ(Fmt::number(12, 0), "12");
    EXPECT_EQ(Fmt::number(1.5, 0), "2");
    EXPECT_EQ(Fmt::number(2.5, 0), "2");
    EXPECT_EQ(Fmt::number(1.2345, 7), "1.23");        // more than two places counts as two
    EXPECT_EQ(Fmt::number(1.7, -3), "2");             // fewer than none counts as none
    EXPECT_EQ(Fmt::number(12345678, 0), "12345678");  // never a grouping separator
}

TEST_F(FmtTest, BytesStepAtPowersOf1024AndKeepTheSign) {
    EXPECT_EQ(Fmt::bytes(0), "0 B");
    EXPECT_EQ(Fmt::bytes(999), "999 B");
    EXPECT_EQ(Fmt::bytes(1023), "1023 B");
    EXPECT_EQ(Fmt::bytes(1024), "1 KB");
    EXPECT_EQ(Fmt::bytes(1536), "2 KB");  // 1.5 to even
    EXPECT_EQ(Fmt::bytes(2560), "2 KB");  // 2.5 to even, not away from zero
    EXPECT_EQ(Fmt::bytes(12 * KiB), "12 KB");
    EXPECT_EQ(Fmt::bytes(1048575), "1024 KB");
    EXPECT_EQ(Fmt::bytes(640 * MiB), "640 MB");
    EXPECT_EQ(Fmt::bytes(5.5 * GiB), "5.5 GB");
    EXPECT_EQ(Fmt::bytes(10 * GiB - 1), "10.0 GB");
    EXPECT_EQ(Fmt::bytes(10 * GiB), "10 GB");
    EXPECT_EQ(Fmt::bytes(12 * GiB), "12 GB");
    EXPECT_EQ(Fmt::bytes(-2048), "-2 KB");
    EXPECT_EQ(Fmt::bytes(-3 * GiB), "-3.0 GB");
}

TEST_F(FmtTest, RatesNeverShowBytesAndStopAtMegabytes) {
    EXPECT_EQ(Fmt::rate(0), "0 KB/s");
    EXPECT_EQ(Fmt::rate(1000), "0 KB/s");
    EXPECT_EQ(Fmt::rate(-5 * MiB), "0 KB/s");
    EXPECT_EQ(Fmt::rate(1024), "1 KB/s");
    EXPECT_EQ(Fmt::rate(340 * KiB), "340 KB/s");
    EXPECT_EQ(Fmt::rate(4.2 * MiB), "4.2 MB/s");
    EXPECT_EQ(Fmt::rate(99.9 * MiB), "99.9 MB/s");
    EXPECT_EQ(Fmt::rate(100 * MiB), "100 MB/s");
    EXPECT_EQ(Fmt::rate(180 * MiB), "180 MB/s");
    EXPECT_EQ(Fmt::rate(3 * GiB), "3072 MB/s");
    EXPECT_EQ(Fmt::rate(std::nan("")), "0 KB/s");
}

TEST_F(FmtTest, PercentKeepsSmallSharesVisibleAndRoundsHalvesAway) {
    EXPECT_EQ(Fmt::percent(0.0), "0%");
    EXPECT_EQ(Fmt::percent(-3.0), "0%");
    EXPECT_EQ(Fmt::percent(0.04), "0.0%");
    EXPECT_EQ(Fmt::percent(0.4), "0.4%");
    EXPECT_EQ(Fmt::percent(0.5), "0.5%");
    EXPECT_EQ(Fmt::percent(1.4), "1%");
    EXPECT_EQ(Fmt::percent(2.5), "3%");  // the formatter alone would say 2%
    EXPECT_EQ(Fmt::percent(37.0), "37%");
    EXPECT_EQ(Fmt::percent(850.0), "850%");  // many cores busy: no grouping, no cap
    EXPECT_EQ(Fmt::percent(85), "85%");
    EXPECT_EQ(Fmt::percent(int64_t{100}), "100%");
}

TEST_F(FmtTest, PowerEnergyAndTemperature) {
    EXPECT_EQ(Fmt::watts(std::nullopt), "\u2014");
    EXPECT_EQ(Fmt::watts(0.0), "0 W");
    EXPECT_EQ(Fmt::watts(0.009), "0 W");
    EXPECT_EQ(Fmt::watts(0.35), "350 mW");
    EXPECT_EQ(Fmt::watts(0.5), "500 mW");
    EXPECT_EQ(Fmt::watts(4.7), "4.7 W");
    EXPECT_EQ(Fmt::watts(9.96), "10.0 W");
    EXPECT_EQ(Fmt::watts(23.4), "23 W");

    EXPECT_EQ(Fmt::energy(14.4), "4 mWh");
    EXPECT_EQ(Fmt::energy(35), "10 mWh");
    EXPECT_EQ(Fmt::energy(36), "0.01 Wh");
    EXPECT_EQ(Fmt::energy(3.25 * 3600), "3.25 Wh");
    EXPECT_EQ(Fmt::energy(36000), "10.0 Wh");
    EXPECT_EQ(Fmt::energy(14.8 * 3600), "14.8 Wh");

    EXPECT_EQ(Fmt::temp(std::nullopt), "\u2014");
    EXPECT_EQ(Fmt::temp(47.2), "47\u00B0");
    EXPECT_EQ(Fmt::temp(46.5), "47\u00B0");  // halves away from zero, not to even
    EXPECT_EQ(Fmt::temp(std::nan("")), "\u2014");
}

TEST_F(FmtTest, MinutesAndDurationsDropTheSmallestUnits) {
    EXPECT_EQ(Fmt::minutes(0), "0m");
    EXPECT_EQ(Fmt::minutes(45), "45m");
    EXPECT_EQ(Fmt::minutes(59), "59m");
    EXPECT_EQ(Fmt::minutes(60), "1h 0m");
    EXPECT_EQ(Fmt::minutes(125), "2h 5m");
    EXPECT_EQ(Fmt::minutes(180), "3h 0m");

    EXPECT_EQ(Fmt::duration(42 * 60 + 59), "42m");
    EXPECT_EQ(Fmt::duration(3599.9), "59m");
    EXPECT_EQ(Fmt::duration(3600), "1h 0m");
    EXPECT_EQ(Fmt::duration(3 * 3600 + 7 * 60 + 30), "3h 7m");
    EXPECT_EQ(Fmt::duration(86400), "1d 0h");
    EXPECT_EQ(Fmt::duration(2 * 86400 + 5 * 3600 + 59 * 60), "2d 5h");
    EXPECT_EQ(Fmt::duration(INFINITY), "\u2014");
}

TEST_F(FmtTest, AgoAndRelativeTimes) {
    const Date now = 1'736'262'240;  // Tue 7 Jan 2025 15:04 UTC
    EXPECT_EQ(Fmt::ago(now - 59, now), "just now");
    EXPECT_EQ(Fmt::ago(now + 3600, now), "just now");
    EXPECT_EQ(Fmt::ago(now - 60, now), "1 min. ago");
    EXPECT_EQ(Fmt::ago(now - 5 * 60 - 59, now), "5 min. ago");
    EXPECT_EQ(Fmt::ago(now - 2 * 3600 - 600, now), "2 hr. ago");
    EXPECT_EQ(Fmt::ago(now - 3 * 86400, now), "3 days ago");
    EXPECT_EQ(Fmt::ago(now - 14 * 86400, now), "2 wk. ago");
    EXPECT_EQ(Fmt::ago(std::nan(""), now), "just now");

    EXPECT_EQ(Fmt::time(now), "3:04\u202FPM");
    EXPECT_EQ(Fmt::dayTime(now), "Tue, Jan 7, 3:04\u202FPM");
}

TEST_F(FmtTest, OtherLocalesUseTheirOwnSeparators) {
    Fmt::setLocaleForTesting("de_DE", "UTC");
    EXPECT_EQ(Fmt::number(3.14159, 1), "3,1");
    EXPECT_EQ(Fmt::bytes(5.5 * GiB), "5,5 GB");
    Fmt::setLocaleForTesting("en_US", "UTC");
    EXPECT_EQ(Fmt::number(3.14159, 1), "3.1");
}

TEST_F(FmtTest, SharedFormattersServeManyThreads) {
    std::vector<std::thread> threads;
    std::vector<int> wrong(4, 0);
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t, &wrong] {
            for (int i = 0; i < 500; ++i) {
                if (Fmt::bytes(5.5 * GiB) != "5.5 GB") ++wrong[t];
                if (Fmt::duration(3 * 3600 + 7 * 60) != "3h 7m") ++wrong[t];
                if (Fmt::time(1'736'262'240) != "3:04\u202FPM") ++wrong[t];
            }
        });
    for (auto& thread : threads) thread.join();
    for (int w : wrong) EXPECT_EQ(w, 0);
}

}  // namespace
}  // namespace qm
