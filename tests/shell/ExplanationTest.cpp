#include <gtest/gtest.h>

#include "fmt/Fmt.h"
#include "shell/Explanation.h"

namespace qm {
namespace {

class ExplanationTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US", "UTC"); }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }
};

AppGroup firefox() {
    AppGroup g;
    g.id = "app:/usr/share/applications/firefox.desktop";
    g.name = "Firefox";
    g.kind = ProcessKind::app;
    ProcessSample main, tab;
    main.pid = 300;
    main.name = "firefox";
    main.cpu = 3;
    main.memory = 500u << 20;
    tab.pid = 301;
    tab.name = "Isolated Web Co";
    tab.cpu = 41.6;
    tab.memory = 200u << 20;
    tab.approximate = true;
    g.processes = {main, tab};
    return g;
}

TEST_F(ExplanationTest, LibraryEntryGivesTheFullPanelAndAnUnknownGroupStillGetsItsProcesses) {
    ProcessEntry entry;
    entry.id = "firefox";
    entry.title = "Firefox";
    entry.oneLiner = "Mozilla's web browser.";
    entry.summary = "Each site runs in its own content process.";
    entry.whyHigh = {"Busy pages", "Video"};
    entry.whatToDo = {"Close tabs you don't need."};
    entry.safeToQuit = "Yes";
    entry.safeToQuitNote = "Open tabs come back next time.";
    entry.typical = ProcessEntry::Typical{"1–10 %", std::nullopt};

    const Explanation e = explain(firefox(), std::nullopt, &entry);
    EXPECT_TRUE(e.known);
    EXPECT_EQ(e.title, "Firefox");
    EXPECT_EQ(e.subtitle, "Firefox · Apps · 2 processes");
    EXPECT_EQ(e.safety, ProcessEntry::Safety::safe);
    EXPECT_EQ(e.safetyTitle, "Safe to quit");
    EXPECT_EQ(e.safetyTone, Insights::Tone::good);
    EXPECT_EQ(e.webURL, "https://quillmere.app/processes/firefox");
    EXPECT_EQ(e.typical, "Typically 1–10 % CPU");
    ASSERT_EQ(e.processes.size(), 2u);
    EXPECT_EQ(e.processes[0].pid, 301) << "busiest first";
    EXPECT_EQ(e.processes[0].figures, "≈ 42% · 200 MB");
    EXPECT_EQ(e.processes[1].figures, "3% · 500 MB");

    // One process of the group.
    const Explanation one = explain(firefox(), 300, &entry);
    EXPECT_EQ(one.title, "firefox") << "a process is titled by its own name";
    EXPECT_EQ(one.oneLiner, "Mozilla's web browser.") << "and explained by its group's entry";
    EXPECT_EQ(one.subtitle, "firefox · pid 300 in Firefox");
    ProcessEntry content;
    content.id = "firefox-content";
    content.title = "Firefox page process";
    content.oneLiner = "Runs one site.";
    const Explanation own = explain(firefox(), 301, &entry, &content);
    EXPECT_EQ(own.title, "Firefox page process");
    EXPECT_EQ(own.oneLiner, "Runs one site.");
    EXPECT_EQ(own.safety, ProcessEntry::Safety::unknown);
    ASSERT_EQ(one.processes.size(), 1u);
    EXPECT_EQ(one.processes[0].pid, 300);

    // An entry with only its required fields, and no entry at all.
    ProcessEntry bare;
    bare.id = "x";
    bare.title = "X";
    bare.oneLiner = "A thing.";
    const Explanation minimal = explain(firefox(), std::nullopt, &bare);
    EXPECT_EQ(minimal.safetyTitle, "No advice on quitting");
    EXPECT_FALSE(minimal.typical);
    EXPECT_FALSE(minimal.safetyNote);
    EXPECT_TRUE(minimal.whyHigh.empty());

    const Explanation unknown = explain(firefox(), std::nullopt, nullptr);
    EXPECT_FALSE(unknown.known);
    EXPECT_EQ(unknown.title, "Firefox");
    EXPECT_EQ(unknown.oneLiner, explainText::unknown);
    EXPECT_FALSE(unknown.webURL);
    EXPECT_EQ(unknown.processes.size(), 2u);

    EXPECT_EQ(safetyTone(ProcessEntry::Safety::caution), Insights::Tone::warn);
    EXPECT_EQ(safetyTitle(ProcessEntry::Safety::unsafe), "Don't quit");
}

TEST_F(ExplanationTest, CommandLinesReadAsOneLineAndAreCutWithoutBreakingCharacters) {
    using namespace std::string_literals;
    EXPECT_EQ(commandLineText("/usr/bin/python3\0-m\0http.server\0"s), "/usr/bin/python3 -m http.server");
    EXPECT_EQ(commandLineText(""), "");
    EXPECT_EQ(commandLineText("a\nb\tc"), "a b c");
    // "é" is two bytes; a cut inside it backs off to before it.
    EXPECT_EQ(commandLineText("abcé", 4), "abc…");
    EXPECT_EQ(commandLineText("abcdef", 3), "abc…");
}

}  // namespace
}  // namespace qm
