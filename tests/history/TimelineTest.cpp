#include "history/Timeline.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "core/Queue.h"

#include "HistoryRows.h"
#include "TempDirectory.h"
#include "history/HistoryStore.h"

using namespace qm;
using qm::testing::minuteAt;
using qm::testing::rawExec;
using qm::testing::TempDirectory;
using Range = HistoryTimelineView::Range;

namespace {

// 2023-11-14 10:00:00 UTC: a whole hour, so bucket arithmetic reads plainly.
constexpr int64_t tenOClock = 1'699'956'000;

AppMinute busyApp(int64_t ts, const std::string& key, double cpu) { return {ts, key, key, cpu, 1e8, 1, 0}; }

// Holds posted work until the test runs it.
class HeldQueue : public SerialQueue {
public:
    void post(std::function<void()> work) override { held_.push_back(std::move(work)); }
    void sync(std::function<void()> work) override { work(); }
    std::unique_ptr<RepeatingTimer> repeating(double, double, std::function<void()>) override { return nullptr; }
    void runAll() {
        auto work = std::move(held_);
        held_.clear();
        for (auto& w : work) w();
    }

private:
    std::vector<std::function<void()>> held_;
};

TimelineEvent eventAt(Date date, const std::string& title) {
    TimelineEvent e;
    e.date = date;
    e.kind = EventKind::thermal;
    e.title = title;
    return e;
}

}  // namespace

TEST(TimelineTest, RangesHaveFixedTitlesSpansAndBucketsOfAtMost360Points) {
    EXPECT_EQ(HistoryTimelineView::title(Range::hour), "1H");
    EXPECT_EQ(HistoryTimelineView::title(Range::month), "30D");
    EXPECT_EQ(HistoryTimelineView::bucket(Range::day), 300);
    EXPECT_EQ(HistoryTimelineView::span(Range::week), 604800);
    for (Range r : HistoryTimelineView::allRanges)
        EXPECT_LE(HistoryTimelineView::span(r) / HistoryTimelineView::bucket(r), 360) << HistoryTimelineView::title(r);

    EXPECT_EQ(HistoryTimelineView::rangeFromTitle("24h"), Range::day);
    EXPECT_EQ(HistoryTimelineView::rangeFromTitle("7D"), Range::week);
    EXPECT_EQ(HistoryTimelineView::rangeFromTitle("30d"), Range::month);
    EXPECT_EQ(HistoryTimelineView::rangeFromTitle("2h"), std::nullopt);
    EXPECT_EQ(HistoryTimelineView::rangeFromTitle(""), std::nullopt);
    EXPECT_EQ(HistoryTimelineView::rangeFromTitle("1h "), std::nullopt);
}

TEST(TimelineTest, BucketStartRoundsDownToWholeBuckets) {
    // Pointing at 10:07:30 on the 24H range covers [10:05, 10:10).
    auto [at, end] = HistoryTimelineView::momentWindow(tenOClock + 7 * 60 + 30, Range::day);
    EXPECT_EQ(at, tenOClock + 300);
    EXPECT_EQ(end, tenOClock + 600);
    // The first second of a bucket belongs to it; the last second too.
    EXPECT_EQ(HistoryTimelineView::bucketStart(tenOClock + 300, 300), tenOClock + 300);
    EXPECT_EQ(HistoryTimelineView::bucketStart(tenOClock + 599.9, 300), tenOClock + 300);
    EXPECT_EQ(HistoryTimelineView::momentWindow(tenOClock + 7199, Range::month).first,
              tenOClock);  // 10:00 is a 2-hour boundary
    // Buckets under a minute count as a minute, like the store's grouping.
    EXPECT_EQ(HistoryTimelineView::bucketStart(tenOClock + 59, 0), tenOClock);
    EXPECT_EQ(HistoryTimelineView::bucketStart(tenOClock + 59, -5), tenOClock);
    // Before 1970 still rounds down, not toward zero.
    EXPECT_EQ(HistoryTimelineView::bucketStart(-30, 60), -60);
}

TEST(TimelineTest, ContainsCoversTheRangeBothEndsIncluded) {
    Date now = tenOClock;
    EXPECT_TRUE(HistoryTimelineView::contains(Range::hour, now - 3600, now));
    EXPECT_TRUE(HistoryTimelineView::contains(Range::hour, now, now));
    EXPECT_FALSE(HistoryTimelineView::contains(Range::hour, now - 3601, now));
    EXPECT_FALSE(HistoryTimelineView::contains(Range::hour, now + 1, now));
    EXPECT_TRUE(HistoryTimelineView::contains(Range::month, now - 29 * 86400, now));
}

TEST(TimelineTest, SelectingAMomentAsksForTheAppsOfItsBucketOnly) {
    TempDirectory dir;
    HistoryStore store(dir.file("h.sqlite"));
    int64_t five = tenOClock + 300;
    store.write(minuteAt(five - 60), {busyApp(five - 60, "proc:before", 90)});  // previous bucket
    store.write(minuteAt(five), {busyApp(five, "proc:first", 20), busyApp(five, "proc:busy", 70)});
    store.write(minuteAt(five + 240), {busyApp(five + 240, "proc:first", 40)});
    store.write(minuteAt(five + 300), {busyApp(five + 300, "proc:after", 95)});  // next bucket
    std::vector<AppMinute> small;
    for (int i = 0; i < 8; ++i) small.push_back(busyApp(five + 60, "proc:small" + std::to_string(i), 1));
    store.write(minuteAt(five + 60), small);

    HistoryTimelineView view;
    view.range = Range::day;
    view.selectNow(tenOClock + 7 * 60 + 30, store);
    ASSERT_EQ(view.selected, tenOClock + 7 * 60 + 30);
    ASSERT_EQ(view.atSelection.size(), 6u);  // at most six
    EXPECT_EQ(view.atSelection[0].key, "proc:busy");
    EXPECT_EQ(view.atSelection[1].key, "proc:first");
    EXPECT_DOUBLE_EQ(view.atSelection[1].cpu, 30);  // averaged over the bucket's rows
    for (const AppMinute& app : view.atSelection) {
        EXPECT_NE(app.key, "proc:before");
        EXPECT_NE(app.key, "proc:after");
    }
}

TEST(TimelineTest, LoadingBucketsTheRangeAndDropsAPartialFirstBucket) {
    TempDirectory dir;
    HistoryStore store(dir.file("h.sqlite"));
    Date now = tenOClock + 45;
    // One minute every half hour for 31 days: more than the 30D range holds.
    for (int64_t ts = tenOClock - 31 * 86400; ts < tenOClock; ts += 1800) store.write(minuteAt(ts), {});
    store.write(eventAt(now - 100, "recent"));
    store.write(eventAt(now - 40 * 86400, "too old"));

    HistoryTimelineView view;
    view.range = Range::day;
    view.loadNow(store, now);
    EXPECT_TRUE(view.loaded);
    EXPECT_EQ(view.rows.size(), 47u);  // the minute exactly 24 hours back is 45 s too old
    for (const SystemMinute& row : view.rows) EXPECT_EQ(row.ts % 300, 0);

    // Switching to 30D reloads with two-hour buckets, at most 360 of them, all in range.
    view.range = Range::month;
    view.loadNow(store, now);
    ASSERT_FALSE(view.rows.empty());
    EXPECT_LE(view.rows.size(), 360u);
    for (const SystemMinute& row : view.rows) {
        EXPECT_EQ(row.ts % 7200, 0);
        EXPECT_GE(static_cast<Date>(row.ts), now - 2592000);
    }
    ASSERT_EQ(view.events.size(), 1u);
    EXPECT_EQ(view.events[0].title, "recent");
}

TEST(TimelineTest, MomentPanelShowsTheBucketRowAppsAndNearbyEvents) {
    TempDirectory dir;
    HistoryStore store(dir.file("h.sqlite"));
    Date now = tenOClock + 3600;
    int64_t at = tenOClock + 300;
    store.write(minuteAt(at, 55), {busyApp(at, "proc:a", 10)});
    // A bucket with apps but no system row.
    int64_t bare = tenOClock + 1200;
    store.waitUntilIdle();  // the write above is queued: the second connection must not meet it mid-way
    rawExec(dir.file("h.sqlite"), "INSERT INTO app VALUES(" + std::to_string(bare) + ",'proc:only','only',5,1e8,1,0);");
    store.write(eventAt(at - 300, "one bucket before"));
    store.write(eventAt(at + 599, "end of the next bucket"));
    store.write(eventAt(at - 301, "too early"));
    store.write(eventAt(at + 600, "too late"));

    HistoryTimelineView view;
    view.range = Range::day;
    view.loadNow(store, now);
    EXPECT_FALSE(view.momentPanel().date);  // nothing selected yet

    view.selectNow(at + 90, store);
    MomentPanel panel = view.momentPanel();
    ASSERT_TRUE(panel.row);
    EXPECT_EQ(panel.row->ts, at);
    EXPECT_DOUBLE_EQ(panel.row->cpu, 55);
    ASSERT_EQ(panel.apps.size(), 1u);
    ASSERT_EQ(panel.events.size(), 2u);
    EXPECT_EQ(panel.events[0].title, "end of the next bucket");
    EXPECT_EQ(panel.events[1].title, "one bucket before");

    view.selectNow(bare + 10, store);
    panel = view.momentPanel();
    EXPECT_FALSE(panel.row);
    ASSERT_EQ(panel.apps.size(), 1u);
    EXPECT_EQ(panel.apps[0].key, "proc:only");
}

TEST(TimelineTest, AsynchronousLoadKeepsOnlyTheNewestRequest) {
    TempDirectory dir;
    HeldQueue main;  // stands in for the main queue: answers wait until the test serves them
    HistoryStore store(dir.file("h.sqlite"), &main);
    Date now = tenOClock + 30;
    for (int64_t ts = tenOClock - 7200; ts < tenOClock; ts += 60) store.write(minuteAt(ts), {});
    auto serve = [&] {
        store.waitUntilIdle();
        main.runAll();
    };

    HistoryTimelineView view;
    int calls = 0;
    view.range = Range::hour;
    view.load(store, now, [&] { ++calls; });
    view.range = Range::day;  // the user switched before the first answer came in
    view.load(store, now, [&] { ++calls; });
    serve();  // the rows, which ask for the events
    EXPECT_FALSE(view.loaded);
    serve();  // the events
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(view.loaded);
    EXPECT_EQ(view.rows.size(), 24u);  // two hours of five-minute buckets, not sixty minutes

    view.select(tenOClock - 60, store, [&] { ++calls; });
    EXPECT_EQ(view.selected, tenOClock - 60);
    serve();
    EXPECT_EQ(calls, 2);
}

TEST(TimelineTest, AnAnswerArrivingAfterTheViewIsGoneIsIgnored) {
    TempDirectory dir;
    HistoryStore store(dir.file("h.sqlite"));
    store.write(minuteAt(tenOClock - 60), {});
    bool called = false;
    {
        HeldQueue held;  // completions wait here until the view has been destroyed
        store.setCompletionQueue(&held);
        {
            HistoryTimelineView view;
            view.load(store, tenOClock, [&] { called = true; });
            store.waitUntilIdle();
        }
        held.runAll();
        store.setCompletionQueue(nullptr);
    }
    store.waitUntilIdle();
    EXPECT_FALSE(called);
}
