#include "history/Advisor.h"

#include <gtest/gtest.h>

#include <cmath>

#include "TempDirectory.h"
#include "core/Clock.h"
#include "fmt/Fmt.h"
#include "history/HistoryStore.h"

using namespace qm;
using namespace qm::advisor;
using qm::testing::TempDirectory;

namespace {

constexpr double GiB = 1024.0 * 1024.0 * 1024.0;

class AdvisorTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US", "UTC"); }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }
};

// A day of history with `pct` percent of it pressured and `swapGiB` peak swap.
Advisor profile(double pct, double swapGiB, int64_t minutes = 1440) {
    return {minutes, pct / 100.0, swapGiB * GiB, 12 * GiB};
}

}  // namespace

TEST_F(AdvisorTest, HalfADayOfMinutesBeforeAnyVerdict) {
    EXPECT_EQ(verdict(std::nullopt), Verdict::learning);
    EXPECT_EQ(verdict(profile(0, 0, 719)), Verdict::learning);
    EXPECT_EQ(verdict(profile(0, 0, 720)), Verdict::plenty);
    // Learning ignores how bad the little history looks.
    EXPECT_EQ(verdict(profile(50, 20, 719)), Verdict::learning);

    Card c = card(std::nullopt, 16);
    EXPECT_EQ(c.title, "Learning how you work…");
    EXPECT_EQ(c.text,
              "After about half a day of normal use, Quillmere will tell you whether 16 GB is enough, or how much to "
              "get with your next Mac.");
    EXPECT_TRUE(c.tiles.empty());
    EXPECT_FALSE(c.suggested);
}

TEST_F(AdvisorTest, VerdictThresholdsOnPressureAndSwap) {
    EXPECT_EQ(verdict(profile(0.9, 1.9)), Verdict::plenty);
    EXPECT_EQ(verdict(profile(0.9, 2.0)), Verdict::enough);
    EXPECT_EQ(verdict(profile(1.0, 0)), Verdict::enough);
    EXPECT_EQ(verdict(profile(7.99, 5.99)), Verdict::enough);
    EXPECT_EQ(verdict(profile(7.99, 6.0)), Verdict::upgrade);
    EXPECT_EQ(verdict(profile(8.0, 0)), Verdict::upgrade);
    EXPECT_EQ(verdict(profile(8.0, 100)), Verdict::upgrade);
    // A broken fraction is treated as no pressure rather than as a verdict of doom.
    EXPECT_EQ(verdict(Advisor{1440, std::nan(""), 0, 0}), Verdict::plenty);
}

TEST_F(AdvisorTest, SuggestedSizesStepUpThenDouble) {
    EXPECT_EQ(suggestedGB(8), 16);
    EXPECT_EQ(suggestedGB(9), 32);
    EXPECT_EQ(suggestedGB(16), 32);
    EXPECT_EQ(suggestedGB(17), 64);
    EXPECT_EQ(suggestedGB(24), 64);
    EXPECT_EQ(suggestedGB(32), 64);
    EXPECT_EQ(suggestedGB(36), 72);
    EXPECT_EQ(suggestedGB(64), 128);
    EXPECT_EQ(suggestedGB(0), 16);  // installed memory unknown
}

TEST_F(AdvisorTest, CardTextsCarryTheFormattedFigures) {
    Card plenty = card(profile(0.5, 1), 32);
    EXPECT_EQ(plenty.title, "32 GB is plenty for you.");
    EXPECT_EQ(plenty.text, plentyText);
    EXPECT_EQ(plenty.symbol, "info.circle.fill");

    Card enough = card(profile(3, 1), 16);
    EXPECT_EQ(enough.title, "16 GB is enough for how you work.");
    EXPECT_EQ(enough.text, "You hit memory pressure 3% of the time, usually when many heavy apps are open together.");
    EXPECT_EQ(enough.symbol, "info.circle.fill");

    Card upgrade = card(profile(12, 7.5), 8);
    EXPECT_EQ(upgrade.title, "You'd benefit from more memory.");
    EXPECT_EQ(upgrade.text,
              "You hit memory pressure 12% of the time and swapped up to 7.5 GB. Consider 16 GB on your next Mac.");
    EXPECT_EQ(upgrade.symbol, "arrow.up.circle.fill");
    EXPECT_EQ(upgrade.suggested, 16);

    ASSERT_FALSE(upgrade.tiles.empty());
    EXPECT_EQ(upgrade.tiles[0], (Tile{"Time under pressure", "12%"}));
}

TEST_F(AdvisorTest, OnlyRecordedCriticalMinutesCountFromARealHistory) {
    TempDirectory dir;
    HistoryStore store(dir.file("h.sqlite"));
    EXPECT_EQ(verdict(Advisor::load(store)), Verdict::learning);  // empty history

    auto now = static_cast<int64_t>(Clock::system().now());
    int64_t start = now / 60 * 60 - 3 * 86400;
    // 720 minutes spread over three days: the gaps between them are not history.
    for (int i = 0; i < 720; ++i) {
        SystemMinute m;
        m.ts = start + i * 360;
        m.memUsed = 10 * GiB;
        m.swap = i == 5 ? 1.5 * GiB : 0;
        // The rows keep the kernel's code: 4 is critical, 2 only a warning.
        m.pressureLevel = i < 36 ? 4 : i < 200 ? 2 : 1;
        store.write(m, {});
    }
    // Older than the 30-day window: never counted.
    SystemMinute old;
    old.ts = now - 40 * 86400;
    old.pressureLevel = 4;
    old.swap = 50 * GiB;
    store.write(old, {});

    Advisor a = Advisor::load(store);
    EXPECT_EQ(a.minutes, 720);
    EXPECT_DOUBLE_EQ(a.pressuredFraction, 0.05);
    EXPECT_DOUBLE_EQ(a.peakSwap, 1.5 * GiB);
    EXPECT_DOUBLE_EQ(a.peakUsed, 10 * GiB);
    EXPECT_EQ(verdict(a), Verdict::enough);
}
