#include <gtest/gtest.h>

#include <QDateTime>
#include <QPushButton>
#include <filesystem>

#include "AppTestContext.h"
#include "SectionTestData.h"
#include "app/sections/SectionStyle.h"
#include "app/sections/TimelinePage.h"
#include "app/widgets/SeriesChart.h"
#include "fmt/Fmt.h"
#include "history/HistoryStore.h"

namespace qm::app {
namespace {

// A history database in a fresh temporary folder, answering on Qt's main queue.
struct TempHistory {
    TempHistory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "quillmere-timeline-XXXXXX").string();
        dir = ::mkdtemp(pattern.data());
    }
    ~TempHistory() {
        store.reset();
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
    HistoryStore& open(SerialQueue& main) {
        store = std::make_unique<HistoryStore>(dir + "/history.sqlite", &main);
        return *store;
    }
    std::string dir;
    std::unique_ptr<HistoryStore> store;
};

class TimelineSectionTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US", "UTC"); }
    void TearDown() override {
        timeline.reset();
        Fmt::setLocaleForTesting(nullptr);
    }

    // A timeline page on `days` of made-up history (none: an empty one), shown once.
    TimelinePage& openPage(int64_t days) {
        HistoryStore& store = history.open(t.mainQueue);
        now = static_cast<int64_t>(QDateTime::currentSecsSinceEpoch());
        if (days > 0) test::fillHistory(store, now, days);
        t.context.history = &store;
        timeline = std::make_unique<TimelinePage>(t.context);
        timeline->onShown = [this] { ++shown; };
        timeline->activated();
        EXPECT_TRUE(test::waitFor([this] { return shown == 1; }));
        return *timeline;
    }

    test::AppTestContext t;
    TempHistory history;
    int64_t now = 0;
    int shown = 0;
    std::unique_ptr<TimelinePage> timeline;
};

TEST_F(TimelineSectionTest, RangesScrollingBackAndTheMomentQueryOnARealHistory) {
    TimelinePage& page = openPage(2);
    ASSERT_EQ(shown, 1);
    EXPECT_EQ(page.view().range, HistoryTimelineView::Range::day);
    EXPECT_GE(page.view().rows.size(), 286u);
    EXPECT_LE(page.view().rows.size(), 288u);
    EXPECT_FALSE(page.view().events.empty());
    EXPECT_EQ(page.cpuChart()->series().at(0).values.size(), page.view().rows.size());

    // The 30-day range asks for two-hour buckets: at most 360 points.
    page.showRange(HistoryTimelineView::Range::month);
    ASSERT_TRUE(test::waitFor([&] { return shown == 2; }));
    EXPECT_LE(page.view().rows.size(), 360u);
    EXPECT_GE(page.view().rows.size(), 24u);

    // One range back on 24H is yesterday; three back is before the history began (two
    // back would reach the history's first minutes once the page reads its clock more
    // than a few seconds after the history was filled, as it does under the sanitizers).
    page.showRange(HistoryTimelineView::Range::day, 1);
    ASSERT_TRUE(test::waitFor([&] { return shown == 3; }));
    EXPECT_GE(page.view().rows.size(), 280u);
    EXPECT_LT(page.view().rows.back().ts, now + 5 - 86400);  // the page read the clock a moment later
    page.showRange(HistoryTimelineView::Range::day, 3);
    ASSERT_TRUE(test::waitFor([&] { return shown == 4; }));
    EXPECT_TRUE(page.view().rows.empty()) << "the empty state shows";

    // Pointing at a moment asks for the busiest apps of its five-minute bucket.
    page.showRange(HistoryTimelineView::Range::day, 0);
    ASSERT_TRUE(test::waitFor([&] { return shown == 5; }));
    const Date moment = static_cast<Date>(now - 3 * 3600 + 150);
    page.pointAt(moment);
    ASSERT_TRUE(test::waitFor([&] { return shown == 6; }));
    const auto& apps = page.view().atSelection;
    ASSERT_FALSE(apps.empty());
    EXPECT_LE(apps.size(), 6u);
    const auto [from, to] = HistoryTimelineView::momentWindow(moment, HistoryTimelineView::Range::day);
    for (const AppMinute& app : apps) {
        EXPECT_GE(app.ts, from);
        EXPECT_LT(app.ts, to);
    }
    EXPECT_TRUE(page.view().momentPanel().row.has_value());

    // Each app opens its row in the apps section.
    const auto buttons = page.momentAppButtons();
    ASSERT_EQ(buttons.size(), static_cast<int>(apps.size()));
    buttons.front()->click();
    EXPECT_EQ(t.ui.section(), Section::apps);
    EXPECT_EQ(t.ui.selectedGroup(), apps.front().key);
}

TEST_F(TimelineSectionTest, ASwitchWaitsForTheRangeAlreadyBeingReadAheadAndShowsReadRangesAtOnce) {
    TimelinePage& page = openPage(2);
    ASSERT_EQ(shown, 1);
    // 24H is in; the hour is being read ahead (on a loaded machine its answer may have
    // landed in the same turn of the event loop, and the week's read begun).
    const int readsBefore = page.readsStarted();
    EXPECT_GE(readsBefore, 2);
    const bool hourUnderWay = readsBefore == 2;

    // Asking for the hour while its read is under way asks for nothing more and
    // shows that read's rows when it lands.
    page.showRange(HistoryTimelineView::Range::hour);
    EXPECT_EQ(page.readsStarted(), readsBefore);
    if (hourUnderWay) {
        EXPECT_EQ(shown, 1);
    }
    ASSERT_TRUE(test::waitFor([&] { return shown == 2; }));
    EXPECT_EQ(page.view().range, HistoryTimelineView::Range::hour);
    // The history ends where it was filled; the page may read its clock minutes later
    // on a slow (sanitizer) run.
    const auto minutesLate = static_cast<size_t>((QDateTime::currentSecsSinceEpoch() - now) / 60);
    const size_t hourRows = page.view().rows.size();
    EXPECT_GE(hourRows + minutesLate, 58u);
    EXPECT_LE(hourRows, 61u);
    EXPECT_EQ(page.cpuChart()->series().at(0).values.size(), page.view().rows.size());

    // The read-ahead goes on one range at a time; once all four are in, every switch
    // shows at once, without the event loop, and reads nothing.
    ASSERT_TRUE(test::waitFor([&] { return page.readsStarted() == 4; }));
    test::waitFor([] { return false; }, 300);
    const int reads = page.readsStarted();
    EXPECT_EQ(reads, 4);
    for (auto range : {HistoryTimelineView::Range::month, HistoryTimelineView::Range::week,
                       HistoryTimelineView::Range::day, HistoryTimelineView::Range::hour}) {
        const int before = shown;
        page.showRange(range);
        EXPECT_EQ(shown, before + 1) << HistoryTimelineView::title(range);
        EXPECT_EQ(page.view().range, range);
    }
    EXPECT_EQ(page.view().rows.size(), hourRows) << "the hour again";
    EXPECT_EQ(page.readsStarted(), reads);

    // An earlier stretch is read on its own; a switch back to the latest while it is
    // under way drops it, so its late answer does not replace the latest rows.
    page.showRange(HistoryTimelineView::Range::day, 1);
    page.showRange(HistoryTimelineView::Range::hour, 0);
    test::waitFor([] { return false; }, 300);
    EXPECT_EQ(page.view().range, HistoryTimelineView::Range::hour);
    EXPECT_EQ(page.view().rows.size(), hourRows);
}

TEST_F(TimelineSectionTest, HoveringShowsAMomentAndLeavingReturnsToThePinnedOne) {
    TimelinePage& page = openPage(1);
    ASSERT_EQ(shown, 1);
    EXPECT_TRUE(visibleText(&page).contains("Hover any moment"));

    const auto bucketOf = [](Date date) {
        return HistoryTimelineView::bucketStart(date, HistoryTimelineView::bucket(HistoryTimelineView::Range::day));
    };
    const Date pinned = static_cast<Date>(now - 6 * 3600);
    const Date hovered = static_cast<Date>(now - 2 * 3600);
    page.pinAt(pinned);
    ASSERT_TRUE(test::waitFor([&] { return shown == 2; }));

    // The pointer moving over a chart shows the moment it rests on.
    page.hoverAt(hovered - 600);
    page.hoverAt(hovered);
    ASSERT_TRUE(test::waitFor([&] { return shown == 3; }));
    ASSERT_TRUE(page.view().selected.has_value());
    EXPECT_EQ(bucketOf(*page.view().selected), bucketOf(hovered));
    ASSERT_FALSE(page.view().atSelection.empty());
    EXPECT_EQ(bucketOf(static_cast<Date>(page.view().atSelection.front().ts)), bucketOf(hovered));
    // Within the same bucket nothing more is asked for.
    page.hoverAt(hovered + 1);
    test::waitFor([] { return false; }, 200);
    EXPECT_EQ(shown, 3);

    // Leaving the charts (on the way to the moment panel) returns to the clicked moment.
    page.hoverAt(std::nullopt);
    ASSERT_TRUE(test::waitFor([&] { return shown == 4; }));
    EXPECT_EQ(bucketOf(*page.view().selected), bucketOf(pinned));
    EXPECT_EQ(bucketOf(static_cast<Date>(page.view().atSelection.front().ts)), bucketOf(pinned));
}

TEST_F(TimelineSectionTest, AnEmptyHistoryShowsTheRecordingHasStartedState) {
    TimelinePage& page = openPage(0);
    ASSERT_EQ(shown, 1);
    EXPECT_TRUE(page.view().loaded);
    EXPECT_TRUE(page.view().rows.empty());
    const QString text = visibleText(&page);
    EXPECT_TRUE(text.contains("Recording has started"));
    EXPECT_TRUE(text.contains("Point at any moment to see which apps were busiest"));
    EXPECT_TRUE(text.contains("0 events"));
}

}  // namespace
}  // namespace qm::app
