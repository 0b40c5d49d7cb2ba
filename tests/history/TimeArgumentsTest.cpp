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

TEST(TimeArguments, EveryCommandReadsSpansClockTimesDatesAndSecondsAlike) {
    setenv("TZ", "UTC", 1);
    tzset();
    Date now = 1'700'000'000;  // Tuesday 2023-11-14 22:13:20 UTC
    EXPECT_EQ(parseTimePoint("now", now), now);
    for (const char* twoHoursBack : {"2h", "-2h", "2h ago", " 120m ago ", "-7200s"})
        EXPECT_EQ(parseTimePoint(twoHoursBack, now), now - 7200) << twoHoursBack;
    EXPECT_EQ(parseTimePoint("1690000000", now), 1'690'000'000);

    // Clock times are the latest such moment: today, or yesterday when still to come.
    const Date at1405 = 1'699'970'700;
    for (const char* form : {"14:05", "14:05:00", "2:05 PM", "2:05pm", "2:05 p.m.", "2:05\u202FPM", "2:05\u00A0pm"})
        EXPECT_EQ(parseTimePoint(form, now), at1405) << form;
    EXPECT_EQ(parseTimePoint("2pm", now), at1405 - 300);
    EXPECT_EQ(parseTimePoint("12am", now), 1'699'920'000);
    EXPECT_EQ(parseTimePoint("12:30 PM", now), 1'699'965'000);
    EXPECT_EQ(parseTimePoint("23:00", now), 1'699'916'400);  // the 13th: 23:00 on the 14th is still to come

    // Dates, local or with a zone.
    EXPECT_EQ(parseTimePoint("2024-01-31", now), 1'706'659'200);
    EXPECT_EQ(parseTimePoint("2024-01-31 14:25", now), 1'706'711'100);
    EXPECT_EQ(parseTimePoint("2024-01-31 2:25 PM", now), 1'706'711'100);
    EXPECT_EQ(parseTimePoint("2024-01-31T14:25:01", now), 1'706'711'101);
    EXPECT_EQ(parseTimePoint("2023-11-14T14:05:00Z", now), at1405);
    EXPECT_EQ(parseTimePoint("2023-11-14T15:05:00+01:00", now), at1405);
    EXPECT_EQ(parseTimePoint("2023-11-14T09:05-0500", now), at1405);
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    EXPECT_EQ(parseTimePoint("2023-11-14 15:05", now), at1405);  // local time is one hour ahead in November
    EXPECT_EQ(parseTimePoint("2023-11-14T14:05:00Z", now), at1405);
    setenv("TZ", "UTC", 1);
    tzset();

    for (const char* nonsense : {"yesterday",
                                 "2024-02-31",
                                 "2024-13-01",
                                 "2024-01-31X14:25",
                                 "2024-01-31 25:00",
                                 "2024-01-31 14:25 extra",
                                 "-5",
                                 "14",
                                 "25:00",
                                 "14:60",
                                 "13pm",
                                 "0am",
                                 "2:05 XM",
                                 "2h hence",
                                 "--2h",
                                 "2024-01-31T14:25+25:00",
                                 ":05",
                                 "1969-12-31",
                                 "2h ago ago",
                                 ""})
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
