// Checks the shipped process library: it must load, and its cross-references and
// patterns must hold together.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>

#include "core/FileRead.h"
#include "core/Log.h"
#include "knowledge/ProcessLibrary.h"

namespace qm {
namespace {

TEST(LibraryFile, LoadsCleanlyWithUniqueIdsAndKnownKeys) {
    std::vector<std::string> logged;
    setLogSink([&](const std::string& line) { logged.push_back(line); });
    ProcessLibrary library = ProcessLibrary::fromFile(QM_LIBRARY_FILE);
    setLogSink(nullptr);
    ASSERT_TRUE(logged.empty()) << logged.front();
    EXPECT_GE(library.count(), 150u);
    EXPECT_GE(library.patternCount(), 10u);

    // Unknown keys are ignored when loading, so a misspelt key would silently lose its
    // text: only the format's keys may appear.
    const auto text = readFile(QM_LIBRARY_FILE, 64 << 20);
    ASSERT_TRUE(text);
    const auto root = nlohmann::json::parse(*text);
    const std::set<std::string> entryKeys{"id",      "names",    "title",    "category",   "vendor",         "oneLiner",
                                          "summary", "whyHigh",  "whatToDo", "safeToQuit", "safeToQuitNote", "typical",
                                          "related", "keywords", "match"};
    std::set<std::string> ids;
    for (const char* list : {"processes", "patterns"})
        for (const auto& entry : root[list]) {
            for (const auto& [key, value] : entry.items()) {
                EXPECT_TRUE(entryKeys.count(key)) << entry["id"] << " has unknown key " << key;
                if (key == "typical") {
                    for (const auto& [typicalKey, _] : value.items()) {
                        EXPECT_TRUE(typicalKey == "cpu" || typicalKey == "memory") << entry["id"];
                    }
                }
            }
            EXPECT_TRUE(ids.insert(entry["id"].get<std::string>()).second) << "duplicate id " << entry["id"];
        }
}

TEST(LibraryFile, EntriesAreCompleteAndCrossReferencesResolve) {
    ProcessLibrary library = ProcessLibrary::fromFile(QM_LIBRARY_FILE);
    std::set<std::string> names;
    // A text shown as it stands: not blank, no stray blanks around it, and, for the
    // sentences, a full stop (or a closing bracket) at the end.
    auto wellFormed = [](const std::string& text, bool sentence) {
        if (text.empty() || text.front() == ' ' || text.back() == ' ') return false;
        return !sentence || text.back() == '.' || text.back() == ')';
    };
    auto check = [&](const ProcessEntry& e) {
        EXPECT_TRUE(wellFormed(e.id, false) && e.id.find_first_of("/?#") == std::string::npos) << e.id;
        EXPECT_TRUE(wellFormed(e.title, false)) << e.id;
        EXPECT_TRUE(wellFormed(e.oneLiner, true)) << e.id << ": " << e.oneLiner;
        EXPECT_TRUE(!e.summary || wellFormed(*e.summary, true)) << e.id;
        for (const std::string& line : e.whyHigh) EXPECT_TRUE(wellFormed(line, true)) << e.id << ": " << line;
        for (const std::string& line : e.whatToDo) EXPECT_TRUE(wellFormed(line, true)) << e.id << ": " << line;
        for (const std::string& word : e.keywords) EXPECT_TRUE(wellFormed(word, false)) << e.id;
        ASSERT_TRUE(e.category && wellFormed(*e.category, false)) << e.id;
        EXPECT_TRUE(!e.vendor || wellFormed(*e.vendor, false)) << e.id;
        // Spelt out in lower case, with the sentence that explains it.
        ASSERT_TRUE(e.safeToQuit) << e.id;
        EXPECT_TRUE(*e.safeToQuit == "yes" || *e.safeToQuit == "caution" || *e.safeToQuit == "no")
            << e.id << ": " << *e.safeToQuit;
        EXPECT_NE(e.safety(), ProcessEntry::Safety::unknown) << e.id << ": every verdict is spelt out";
        EXPECT_TRUE(e.safeToQuitNote && wellFormed(*e.safeToQuitNote, true)) << e.id;
        if (e.typical) {
            EXPECT_TRUE(e.typical->cpu || e.typical->memory) << e.id;
            EXPECT_TRUE(!e.typical->cpu || wellFormed(*e.typical->cpu, false)) << e.id;
            EXPECT_TRUE(!e.typical->memory || wellFormed(*e.typical->memory, false)) << e.id;
        }
        for (const std::string& related : e.related) {
            EXPECT_NE(library.entry(related), nullptr) << e.id << " refers to missing " << related;
            EXPECT_NE(related, e.id) << e.id << " refers to itself";
        }
    };
    for (const ProcessEntry& e : library.entries()) {
        check(e);
        EXPECT_FALSE(e.names.empty()) << e.id;
        EXPECT_TRUE(e.typical) << e.id;
        EXPECT_FALSE(e.match) << e.id << ": a match only works in the patterns list";
        for (const std::string& name : e.names) {
            EXPECT_TRUE(wellFormed(name, false)) << e.id << ": \"" << name << "\"";
            EXPECT_TRUE(names.insert(name).second) << name << " is claimed twice; the second claim hides the first";
        }
    }
    const std::set<std::string> types{"exact", "prefix", "suffix", "contains", "regex"};
    for (size_t i = 0; i < library.patternCount(); ++i) {
        const ProcessEntry& e = *library.patternEntry(i);
        check(e);
        ASSERT_TRUE(e.match) << e.id;
        EXPECT_TRUE(types.count(e.match->type)) << e.id;
        EXPECT_FALSE(e.match->value.empty()) << e.id << ": an empty value would accept every name";
        if (e.match->type == "regex") {
            EXPECT_TRUE(library.patternCompiled(i)) << e.id << " does not compile";
        }
    }
}

TEST(LibraryFile, KnowsTheProcessesPeopleAskAbout) {
    ProcessLibrary library = ProcessLibrary::fromFile(QM_LIBRARY_FILE);
    auto idOf = [&](std::string_view name) {
        const ProcessEntry* e = library.lookup(name, true);
        return e ? e->id : std::string("<none>");
    };
    EXPECT_EQ(idOf("kernel_task"), "kernel_task");
    EXPECT_EQ(idOf("mds_stores"), "mds_stores");
    EXPECT_EQ(idOf("Google Chrome Helper (Renderer)"), "google-chrome-helper");
    EXPECT_EQ(idOf("Some App Helper (GPU)"), "chromium-helper-family");
    EXPECT_EQ(idOf("com.apple.WebKit.WebContent"), "webkit-webcontent");
    EXPECT_EQ(idOf("com.apple.WebKit.Storage"), "webkit-family");
    EXPECT_EQ(idOf("com.apple.geod"), "apple-family");
    // Linux shortens process names to 15 characters; both spellings are known.
    EXPECT_EQ(idOf("systemd-journal"), "systemd-journald");
    EXPECT_EQ(idOf("tracker-miner-f"), "tracker-miner-fs");
    EXPECT_EQ(idOf("kworker/2:1-events"), "kworker-family");
    EXPECT_EQ(idOf("kworker/u16:0-flush-259:0"), "kworker-family");
    EXPECT_EQ(idOf("ksoftirqd/3"), "ksoftirqd-family");
    EXPECT_EQ(idOf("jbd2/nvme0n1p2-8"), "jbd2-family");
    EXPECT_EQ(idOf("python3.11"), "python-family");
    EXPECT_EQ(idOf("systemd-networkd"), "systemd-family");
}

}  // namespace
}  // namespace qm
