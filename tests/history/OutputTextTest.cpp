// Bytes that are not UTF-8 (any user can name a process "x\xff") must come out of
// every JSON and CSV writer as U+FFFD, never as an abort.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <nlohmann/json.hpp>

#include "HistoryRows.h"
#include "TempDirectory.h"
#include "core/CsvField.h"
#include "core/FileDefaults.h"
#include "core/JsonText.h"
#include "core/SnapshotJson.h"
#include "core/Utf8.h"
#include "history/HistoryExport.h"
#include "history/HistoryStore.h"

using namespace qm;
using qm::testing::minuteAt;
using qm::testing::TempDirectory;

namespace {
const std::string fffd = "\xEF\xBF\xBD";
}

TEST(OutputText, IllFormedSequencesBecomeOneReplacementPerMaximalSubpart) {
    // Valid text, including four-byte characters, passes unchanged.
    for (std::string valid : {"", "plain", "Grüße", "日本", "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(isValidUtf8(valid)) << valid;
        EXPECT_EQ(validUtf8(valid), valid);
    }
    EXPECT_EQ(validUtf8("x\xff"), "x" + fffd);
    EXPECT_EQ(validUtf8("\xC0\xAF"), fffd + fffd);             // overlong: no lead accepts C0
    EXPECT_EQ(validUtf8("\xED\xA0\x80"), fffd + fffd + fffd);  // a surrogate
    EXPECT_EQ(validUtf8("a\xF0\x9F\x98"), "a" + fffd);         // cut short: one subpart
    EXPECT_EQ(validUtf8("\xE2\x82z"), fffd + "z");             // broken in the middle
    EXPECT_EQ(validUtf8("\xF5\x80"), fffd + fffd);             // above U+10FFFF
    EXPECT_EQ(validUtf8(std::string("a\0b", 3)), std::string("a\0b", 3));
    EXPECT_FALSE(isValidUtf8("x\xff"));
}

TEST(OutputText, JsonAndCsvWritersTakeAnyBytes) {
    nlohmann::json value = {{"name\xfe", "x\xff"}, {"list", {"ok", "\xC3"}}};
    std::string text;
    ASSERT_NO_THROW(text = jsonText(value));
    auto back = nlohmann::json::parse(text);
    EXPECT_EQ(back["name" + fffd], "x" + fffd);
    ASSERT_NO_THROW(text = jsonText(value, 2));
    EXPECT_FALSE(nlohmann::json::parse(text, nullptr, false).is_discarded());

    EXPECT_EQ(csvField("x\xff"), "x" + fffd);
    EXPECT_EQ(csvField("a,\"b\"\xff"), "\"a,\"\"b\"\"" + fffd + "\"");
    EXPECT_EQ(csvField("plain"), "plain");
}

TEST(OutputText, AStoredNameThatIsNotUtf8KeepsItsBytesAndExportsCleanly) {
    TempDirectory dir;
    const std::string path = dir.file("history.sqlite");
    const int64_t ts = 1'700'000'040;
    const std::string odd = "x\xff";
    {
        HistoryStore store(path);
        store.write(minuteAt(ts), {{ts, "proc:" + odd, odd, 5, 1e6, 0, 0}});
        TimelineEvent e;
        e.date = ts;
        e.title = odd + " is busy";
        e.detail = "detail\xC3";
        e.appKey = "proc:" + odd;
        e.appName = odd;
        store.write(e);
        store.waitUntilIdle();

        auto apps = store.appMinutesSync(ts, ts + 60);
        ASSERT_EQ(apps.size(), 1u);
        EXPECT_EQ(apps[0].name, odd);  // the bytes the kernel gave, not a replacement
        auto events = store.eventsSync(ts - 60, ts + 60);
        ASSERT_EQ(events.size(), 1u);

        std::string text;
        ASSERT_NO_THROW(text = jsonText(historyJSON(store.systemMinutesSync(ts, ts + 60, 60), apps, events), 2));
        auto back = nlohmann::json::parse(text);
        EXPECT_EQ(back["apps"][0]["name"], "x" + fffd);
        EXPECT_EQ(back["events"][0]["appName"], "x" + fffd);
        EXPECT_TRUE(isValidUtf8(appMinutesCSV(apps)));
        EXPECT_TRUE(isValidUtf8(eventsCSV(events)));
        EXPECT_NE(appMinutesCSV(apps).find("proc:x" + fffd), std::string::npos);
    }
}

TEST(OutputText, ASettingThatIsNotUtf8IsSavedAndReadBack) {
    TempDirectory dir;
    FileDefaults settings(dir.file("settings.json"));
    ASSERT_NO_THROW(settings.set("menuBar.label", std::string("a\xff")));
    FileDefaults again(dir.file("settings.json"));
    auto value = again.value("menuBar.label");
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(std::get<std::string>(*value), "a" + fffd);
}
