#include "history/TimeArguments.h"

#include <gtest/gtest.h>

#include "history/HistoryExport.h"

using namespace qm;

TEST(TimeArguments, DurationsNeedAWholeCountAndAUnit) {
    EXPECT_EQ(parseDuration("30m"), 1800);
    EXPECT_EQ(parseDuration("2h"), 7200);
    EXPECT_EQ(parseDuration("7d"), 604800);
    EXPECT_EQ(parseDuration("1w"), 604800);
    EXPECT_EQ(parseDuration("45s"), 45);
    for (const char* nonsense :
         {"", "m", "30", "0m", "-5m", "1.5h", "2x", "h2", "99999999999d", "18446744073709551616s"})
        EXPECT_FALSE(parseDuration(nonsense).has_value()) << nonsense;
}

TEST(TimeArguments, TimePointsFromSpansSecondsAndDates) {
    Date now = 1'700'000'000;
    EXPECT_EQ(parseTimePoint("now", now), now);
    EXPECT_EQ(parseTimePoint("2h", now), now - 7200);
    EXPECT_EQ(parseTimePoint("1690000000", now), 1'690'000'000);
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(parseTimePoint("2024-01-31", now), 1'706'659'200);
    EXPECT_EQ(parseTimePoint("2024-01-31 14:25", now), 1'706'711'100);
    EXPECT_EQ(parseTimePoint("2024-01-31T14:25:01", now), 1'706'711'101);
    for (const char* nonsense : {"yesterday", "2024-02-31", "2024-13-01", "2024-01-31X14:25", "2024-01-31 25:00",
                                 "2024-01-31 14:25 extra", "-5"})
        EXPECT_FALSE(parseTimePoint(nonsense, now).has_value()) << nonsense;
}

TEST(HistoryExport, CSVQuotesTextAndLeavesAbsentValuesEmpty) {
    SystemMinute m;
    m.ts = 60;
    m.cpu = 12.5;
    m.pressureLevel = 4;
    m.onBattery = true;
    m.battery = 80;
    std::string csv = systemMinutesCSV({m});
    EXPECT_EQ(csv.substr(csv.find('\n') + 1), "60,12.5,0,0,0,4,0,,,,0,0,0,0,80,1,0\n");

    TimelineEvent e;
    e.id = 3;
    e.date = 120.7;
    e.kind = EventKind::memoryGrowth;
    e.title = "Say \"hi\", then leave";
    e.detail = "two\nlines";
    e.appName = "plain";
    std::string events = eventsCSV({e});
    EXPECT_EQ(events.substr(events.find('\n') + 1),
              "3,120,memoryGrowth,0,\"Say \"\"hi\"\", then leave\",\"two\nlines\",,plain\n");
}
