#include <gtest/gtest.h>

#include "fmt/Fmt.h"
#include "knowledge/CommandPalette.h"

namespace qm {
namespace {

const std::string kDir = std::string(QM_FIXTURES) + "/knowledge/";

AppGroup group(std::string name, double cpu, std::vector<std::string> processNames = {}) {
    AppGroup g;
    g.id = "proc:" + name;
    g.name = std::move(name);
    g.cpu = cpu;
    int32_t pid = 100;
    for (auto& n : processNames) {
        ProcessSample p;
        p.pid = pid++;
        p.name = std::move(n);
        g.processes.push_back(std::move(p));
    }
    return g;
}

std::vector<std::string> ids(const std::vector<CommandPalette::Item>& items) {
    std::vector<std::string> out;
    for (const auto& item : items) out.push_back(item.id());
    return out;
}

class CommandPaletteTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US"); }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }
    ProcessLibrary library = ProcessLibrary::fromFile(kDir + "small-library.json");
};

TEST_F(CommandPaletteTest, BlankQueryShowsTheSixBusiestGroupsThenEveryScreen) {
    Snapshot s;
    for (int i = 0; i < 9; ++i) s.groups.push_back(group("g" + std::to_string(i), i % 3 == 0 ? 50 : i));
    for (const char* query : {"", "   ", "\t \n"}) {
        auto items = CommandPalette::items(query, s, library);
        ASSERT_EQ(items.size(), 6u + 7u) << '"' << query << '"';
        // 50, 50, 50 in snapshot order (stable), then 8, 7, 5.
        EXPECT_EQ(ids(items),
                  (std::vector<std::string>{"group:proc:g0", "group:proc:g3", "group:proc:g6", "group:proc:g8",
                                            "group:proc:g7", "group:proc:g5", "section:overview", "section:apps",
                                            "section:memory", "section:energy", "section:sensors", "section:network",
                                            "section:timeline"}));
    }
}

TEST_F(CommandPaletteTest, GroupsRankAboveScreensAndTheLibraryFillsInOnlyForFewMatches) {
    Snapshot s;
    s.groups = {group("Memory Clean", 1), group("Foo Viewer", 5), group("Terminal", 30, {"zsh", "Foo-agent"}),
                group("Foo Sync", 2)};
    // " FOO " matches three groups (one only through a process), so the library fills in.
    auto items = CommandPalette::items(" FOO ", s, library);
    EXPECT_EQ(ids(items), (std::vector<std::string>{"group:proc:Terminal", "group:proc:Foo Viewer",
                                                    "group:proc:Foo Sync", "library:foo-first", "library:foo-second"}));
    // A fourth matching group pushes the library out.
    s.groups.push_back(group("foo", 0));
    items = CommandPalette::items("foo", s, library);
    EXPECT_EQ(items.size(), 4u);
    EXPECT_EQ(items.back().kind, CommandPalette::Item::Kind::group);

    // A screen and a group both match "mem": the group comes first.
    items = CommandPalette::items("mem", s, library);
    EXPECT_EQ(ids(items), (std::vector<std::string>{"group:proc:Memory Clean", "section:memory"}));
    // "processes" finds the apps screen by its title.
    EXPECT_EQ(ids(CommandPalette::items("processes", s, library)).front(), "section:apps");

    // Every screen title holds an "e"; the library never adds more than four.
    ASSERT_GT(library.search("e").size(), 4u - 1);
    auto many = CommandPalette::items("e", Snapshot{}, library);
    EXPECT_EQ(many.size(), 7u + 4u);
    EXPECT_EQ(many[7].kind, CommandPalette::Item::Kind::library);
}

TEST_F(CommandPaletteTest, MatchedGroupsAreCappedAtTen) {
    Snapshot s;
    for (int i = 0; i < 15; ++i) s.groups.push_back(group("worker" + std::to_string(i), i));
    auto items = CommandPalette::items("worker", s, library);
    ASSERT_EQ(items.size(), 10u);
    EXPECT_EQ(items.front().id(), "group:proc:worker14");
    EXPECT_EQ(items.back().id(), "group:proc:worker5");
}

TEST_F(CommandPaletteTest, ActionsAndKeyboardStayInBounds) {
    Snapshot s;
    s.groups = {group("Safari", 12)};
    CommandPalette palette;
    palette.open(s, library);
    ASSERT_EQ(palette.results().size(), 8u);
    palette.moveUp();
    EXPECT_EQ(palette.highlighted(), 0u);
    for (int i = 0; i < 20; ++i) palette.moveDown();
    EXPECT_EQ(palette.highlighted(), 7u);  // stays on the last row

    // A new query highlights the first row; a shrinking list keeps the highlight in range.
    palette.setQuery("zzz-nothing", s, library);
    EXPECT_TRUE(palette.results().empty());
    palette.moveDown();
    EXPECT_EQ(palette.highlighted(), 0u);
    EXPECT_FALSE(palette.submit());
    EXPECT_FALSE(palette.isOpen());

    palette.open(s, library);
    palette.setQuery("a", s, library);  // Safari, then the screens with an "a"
    for (int i = 0; i < 5; ++i) palette.moveDown();
    palette.update(Snapshot{}, library);  // Safari is gone
    EXPECT_LT(palette.highlighted(), palette.results().size());

    palette.setQuery("saf", s, library);
    auto chosen = palette.submit();
    ASSERT_TRUE(chosen);
    EXPECT_EQ(chosen->kind, CommandPalette::Action::Kind::selectGroup);
    EXPECT_EQ(chosen->groupID, "proc:Safari");
    EXPECT_FALSE(palette.isOpen());

    auto sections = CommandPalette::items("timeline", s, library);
    ASSERT_EQ(sections.size(), 1u);
    EXPECT_EQ(CommandPalette::action(sections[0]).section, Section::timeline);
    auto entries = CommandPalette::items("renders", s, library);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(CommandPalette::action(entries[0]).url, "https://quillmere.app/processes/bar");
    EXPECT_EQ(CommandPalette::down(3, 0), 0u);
}

}  // namespace
}  // namespace qm
