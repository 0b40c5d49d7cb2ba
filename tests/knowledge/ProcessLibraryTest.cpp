#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "core/Log.h"
#include "knowledge/ProcessLibrary.h"

namespace qm {
namespace {

const std::string kDir = std::string(QM_FIXTURES) + "/knowledge/";

// Captures log lines for the life of the object.
struct LogCapture {
    std::vector<std::string> lines;
    LogCapture() {
        setLogSink([this](const std::string& line) { lines.push_back(line); });
    }
    ~LogCapture() { setLogSink(nullptr); }
};

std::string idOf(const ProcessEntry* entry) { return entry ? entry->id : "<none>"; }

ProcessSample process(int32_t pid, std::string name) {
    ProcessSample p;
    p.pid = pid;
    p.name = std::move(name);
    return p;
}

AppGroup group(std::string name, ProcessKind kind, std::vector<ProcessSample> processes) {
    AppGroup g;
    g.id = "proc:" + name;
    g.name = std::move(name);
    g.kind = kind;
    g.processes = std::move(processes);
    return g;
}

TEST(ProcessLibrary, FailedLoadsLeaveAnEmptyLibraryWithAtMostOneLogLine) {
    {
        LogCapture log;
        EXPECT_EQ(ProcessLibrary::fromFile(kDir + "does-not-exist.json").count(), 0u);
        EXPECT_EQ(ProcessLibrary::fromFile(kDir).count(), 0u);  // a folder cannot be read as a file
        EXPECT_TRUE(log.lines.empty());
    }
    for (const char* file : {"truncated.json", "missing-title.json", "wrong-type.json"}) {
        LogCapture log;
        ProcessLibrary library = ProcessLibrary::fromFile(kDir + file);
        EXPECT_EQ(library.count(), 0u) << file;
        EXPECT_EQ(library.lookup("ok", true), nullptr) << file;
        ASSERT_EQ(log.lines.size(), 1u) << file;
        EXPECT_EQ(log.lines[0].rfind("Quillmere: process library failed to load: ", 0), 0u) << log.lines[0];
    }
    // The reason names the key and the entry.
    ProcessLibrary out;
    auto error = ProcessLibrary::decode(R"({"processes":[{"id":"broken","oneLiner":"x"}]})", out);
    ASSERT_TRUE(error);
    EXPECT_NE(error->find("\"title\""), std::string::npos) << *error;
    EXPECT_NE(error->find("broken"), std::string::npos) << *error;
    // Wrong shapes at the top level.
    for (const char* text : {"[]", "{}", R"({"processes": {}})", R"({"version": "1", "processes": []})",
                             R"({"processes": [], "patterns": [{"id": "p", "title": "P", "oneLiner": "x",
                                 "match": {"type": "prefix"}}]})",
                             ""})
        EXPECT_TRUE(ProcessLibrary::decode(text, out)) << text;
    // An empty list is a valid library.
    EXPECT_FALSE(ProcessLibrary::decode(R"({"processes": []})", out));
}

TEST(ProcessLibrary, NameMapsExactSpellingGoesToTheLastClaimantFoldedCaseToTheFirst) {
    ProcessLibrary library = ProcessLibrary::fromFile(kDir + "small-library.json");
    ASSERT_EQ(library.count(), 4u);
    EXPECT_EQ(library.entries()[0].id, "foo-first");  // file order

    EXPECT_EQ(idOf(library.lookup("Foo", false)), "foo-second");
    EXPECT_EQ(idOf(library.lookup("foo", false)), "foo-first");
    // FOO is no key of its own, but lowers to foo.
    EXPECT_EQ(idOf(library.lookup("FOO", false)), "foo-first");
    EXPECT_EQ(idOf(library.lookup("BAR-HELPER", false)), "bar");
    EXPECT_EQ(library.lookup("nothing", false), nullptr);

    EXPECT_EQ(idOf(library.entry("bar")), "bar");
    EXPECT_EQ(library.entry("BAR"), nullptr);  // ids are exact
    // Pattern entries are not entries.
    EXPECT_EQ(library.entry("apple-family"), nullptr);
}

TEST(ProcessLibrary, PatternsAreCaseSensitiveAndTriedInFileOrder) {
    ProcessLibrary library = ProcessLibrary::fromFile(kDir + "small-library.json");
    ASSERT_EQ(library.patternCount(), 8u);
    EXPECT_FALSE(library.patternCompiled(1));  // "(unclosed" is kept but never matches
    EXPECT_TRUE(library.patternCompiled(4));
    EXPECT_EQ(library.patternEntry(99), nullptr);

    EXPECT_EQ(idOf(library.lookup("com.apple.WebKit.Networking", true)), "apple-family");
    EXPECT_EQ(library.lookup("com.apple.WebKit.Networking", false), nullptr);
    EXPECT_EQ(library.lookup("Com.apple.x", true), nullptr);
    EXPECT_EQ(idOf(library.lookup("kworker/3:1-events", true)), "kworker-family");
    EXPECT_EQ(idOf(library.lookup("kworker/u16:2", true)), "kworker-family");
    EXPECT_EQ(library.lookup("Kworker/3:1", true), nullptr);
    EXPECT_EQ(idOf(library.lookup("Slack Helper", true)), "helper-suffix");
    EXPECT_EQ(library.lookup("Slack helper", true), nullptr);
    EXPECT_EQ(idOf(library.lookup("x", true)), "exact-x");
    EXPECT_EQ(library.lookup("xx", true), nullptr);
    EXPECT_EQ(idOf(library.lookup("dropsync-agent", true)), "contains-sync");
    // Both name maps win over any pattern: "com.apple.Foo" is no name, "food" is.
    EXPECT_EQ(idOf(library.lookup("food", true)), "foo-first");
    // Odd input never breaks a lookup.
    EXPECT_EQ(library.lookup("", true), nullptr);
    EXPECT_EQ(library.lookup(std::string("\xff\xfe(", 3), true), nullptr);

    ProcessLibrary noPatterns = ProcessLibrary::fromFile(kDir + "no-patterns.json");
    EXPECT_EQ(noPatterns.count(), 1u);
    EXPECT_EQ(noPatterns.lookup("com.apple.x", true), nullptr);
    EXPECT_EQ(idOf(noPatterns.lookup("ONLY", true)), "only");
}

TEST(ProcessLibrary, GroupLookupOrderAndAppsNeverMatchByPattern) {
    ProcessLibrary library = ProcessLibrary::fromFile(kDir + "small-library.json");

    // The group's own name first, then its bundle's name.
    AppGroup byName = group("foo", ProcessKind::app, {process(10, "bar-helper")});
    EXPECT_EQ(idOf(library.lookup(byName)), "foo-first");
    AppGroup byBundle = group("Bar Browser", ProcessKind::app, {process(10, "bar-helper")});
    byBundle.bundlePath = "/Applications/Foo.app";
    EXPECT_EQ(idOf(library.lookup(byBundle)), "foo-second");
    // An app is never found through its processes or a pattern.
    AppGroup app = group("Unknown App", ProcessKind::app, {process(5, "bar-helper"), process(6, "com.apple.x")});
    EXPECT_EQ(library.lookup(app), nullptr);

    // The same processes in a background group: the lowest pid among the first three.
    AppGroup background = app;
    background.kind = ProcessKind::background;
    EXPECT_EQ(idOf(library.lookup(background)), "bar");
    // Only the three lowest pids are tried by name; then the first process (in the
    // group's order) goes through the patterns.
    AppGroup deep =
        group("Daemons", ProcessKind::system,
              {process(90, "com.apple.deep"), process(1, "a"), process(2, "b"), process(3, "c"), process(4, "FOO")});
    EXPECT_EQ(idOf(library.lookup(deep)), "apple-family");
    // No processes: the group name goes through the patterns.
    AppGroup empty = group("com.apple.lonely", ProcessKind::system, {});
    EXPECT_EQ(idOf(library.lookup(empty)), "apple-family");
}

TEST(ProcessLibrary, LinuxDesktopAppsAreNeverExplainedByApplesEntries) {
    ProcessLibrary library = ProcessLibrary::fromJSON(R"({"processes": [
        {"id": "Terminal", "names": ["Terminal"], "vendor": "Apple", "title": "T", "oneLiner": "Apple's."},
        {"id": "Music", "names": ["Music"], "vendor": "Apple", "title": "M", "oneLiner": "Apple's."},
        {"id": "gnome-terminal", "names": ["org.gnome.Terminal"], "title": "G", "oneLiner": "GNOME's."},
        {"id": "files", "names": ["Files"], "vendor": "GNOME", "title": "F", "oneLiner": "GNOME's."}]})");
    auto app = [](std::string name, std::string bundle) {
        AppGroup g = group(std::move(name), ProcessKind::app, {process(7, "x")});
        g.bundlePath = std::move(bundle);
        return g;
    };
    // GNOME Terminal's desktop file names it "Terminal": its desktop-file id decides.
    EXPECT_EQ(idOf(library.lookup(app("Terminal", "/usr/share/applications/org.gnome.Terminal.desktop"))),
              "gnome-terminal");
    // An unknown desktop app called "Music" gets no explanation rather than Apple's.
    EXPECT_EQ(library.lookup(app("Music", "/usr/share/applications/org.gnome.Music.desktop")), nullptr);
    // Other vendors' entries still match by name; on a Mac, Apple's own apps are found.
    EXPECT_EQ(idOf(library.lookup(app("Files", "/usr/share/applications/org.gnome.Nautilus.desktop"))), "files");
    EXPECT_EQ(idOf(library.lookup(app("Terminal", "/System/Applications/Utilities/Terminal.app"))), "Terminal");
    EXPECT_EQ(idOf(library.lookup(group("Music", ProcessKind::app, {}))), "Music");
    EXPECT_EQ(idOf(library.lookup("Terminal", false)), "Terminal");
}

TEST(ProcessLibrary, SearchLooksAtTitlesOneLinersAndNamesOnly) {
    ProcessLibrary library = ProcessLibrary::fromFile(kDir + "small-library.json");
    auto ids = [&](std::string_view q) {
        std::vector<std::string> out;
        for (const ProcessEntry* e : library.search(q)) out.push_back(e->id);
        return out;
    };
    EXPECT_EQ(ids("").size(), 4u);
    EXPECT_EQ(ids("RENDERS"), std::vector<std::string>{"bar"});        // one-liner
    EXPECT_EQ(ids("nameless"), std::vector<std::string>{"no-names"});  // title
    EXPECT_EQ(ids("FOOD"), std::vector<std::string>{"foo-first"});     // a name
    EXPECT_TRUE(ids("zebra").empty());                                 // keywords are not searched
    EXPECT_TRUE(ids("browser").empty());                               // nor the category
    EXPECT_TRUE(ids("no-names").empty());                              // nor the id
    EXPECT_TRUE(ids("  ").empty());                                    // blank but not empty filters on the spaces
    EXPECT_EQ(ids("of foo").size(), 2u);
}

TEST(ProcessLibrary, SafetyAndWebPage) {
    ProcessLibrary library = ProcessLibrary::fromFile(kDir + "small-library.json");
    EXPECT_EQ(library.entry("foo-first")->safety(), ProcessEntry::Safety::safe);      // "Yes"
    EXPECT_EQ(library.entry("foo-second")->safety(), ProcessEntry::Safety::unknown);  // "maybe"
    EXPECT_EQ(library.entry("bar")->safety(), ProcessEntry::Safety::caution);
    EXPECT_EQ(library.entry("no-names")->safety(), ProcessEntry::Safety::unsafe);
    EXPECT_EQ(library.patternEntry(0)->safety(), ProcessEntry::Safety::unknown);  // absent

    const ProcessEntry* bar = library.entry("bar");
    EXPECT_EQ(bar->webURL(), "https://quillmere.app/processes/bar");
    ASSERT_TRUE(bar->typical);
    EXPECT_EQ(bar->typical->cpu, "1–5 %");
    EXPECT_FALSE(bar->typical->memory);
    EXPECT_EQ(bar->vendor, "Bar Inc.");
    EXPECT_FALSE(library.entry("no-names")->summary);  // null reads as absent
}

TEST(ProcessLibrary, CandidateFilesStartWithTheEnvironmentAndEndInTheSystemDataDirectory) {
    setenv("QUILLMERE_LIBRARY", "/tmp/mine.json", 1);
    ProcessLibrary::setInstalledDataDirectory("/opt/qm/share/quillmere");
    auto paths = ProcessLibrary::candidatePaths();
    unsetenv("QUILLMERE_LIBRARY");
    ASSERT_GE(paths.size(), 4u);
    EXPECT_EQ(paths.front(), "/tmp/mine.json");
    EXPECT_EQ(paths[1].substr(paths[1].size() - 15), "/processes.json");  // beside the executable
    EXPECT_EQ(paths[paths.size() - 2], "/opt/qm/share/quillmere/processes.json");
    EXPECT_EQ(paths.back(), "/usr/share/quillmere/processes.json");
}

}  // namespace
}  // namespace qm
