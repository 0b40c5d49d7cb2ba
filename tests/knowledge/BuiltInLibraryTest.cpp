// The library compiled into the program: it must be the shipped file byte for byte,
// and it must be what a program with no library file beside it or installed uses.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "core/FileRead.h"
#include "core/Log.h"
#include "knowledge/ProcessLibrary.h"

namespace qm {
namespace {

namespace fs = std::filesystem;

// A scratch folder removed again at the end of the test.
struct ScratchFolder {
    fs::path path;
    ScratchFolder() : path(fs::temp_directory_path() / ("qm-library-" + std::to_string(getpid()))) {
        fs::remove_all(path);
        fs::create_directories(path);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(path / name) << text;
        return (path / name).string();
    }
};

TEST(BuiltInLibrary, IsTheShippedFileAndDecodesWithoutComplaint) {
    const auto shipped = readFile(QM_LIBRARY_FILE, 64 << 20);
    ASSERT_TRUE(shipped);
    // Byte for byte: a stale or cut copy (a piece lost between two literals, a split
    // character) would differ here even where it still decodes.
    EXPECT_EQ(ProcessLibrary::builtInText().size(), shipped->size());
    EXPECT_TRUE(ProcessLibrary::builtInText() == *shipped) << "the compiled-in library differs from the file";

    std::vector<std::string> logged;
    setLogSink([&](const std::string& line) { logged.push_back(line); });
    const ProcessLibrary builtIn = ProcessLibrary::builtIn();
    setLogSink(nullptr);
    EXPECT_TRUE(logged.empty()) << logged.front();
    const ProcessLibrary fromFile = ProcessLibrary::fromFile(QM_LIBRARY_FILE);
    EXPECT_EQ(builtIn.count(), fromFile.count());
    EXPECT_EQ(builtIn.patternCount(), fromFile.patternCount());
    EXPECT_TRUE(builtIn.entries() == fromFile.entries());
}

TEST(BuiltInLibrary, UsedOnlyWhenNoFileExistsAndAnyFileOverridesIt) {
    ScratchFolder scratch;
    const std::string nowhere = (scratch.path / "moved" / "processes.json").string();
    const std::string folder = scratch.path.string();  // exists, but is no file to read

    // A binary moved away from its data: nothing to find, so the built-in copy.
    const ProcessLibrary moved = ProcessLibrary::load({nowhere, nowhere + ".old"});
    EXPECT_EQ(moved.count(), ProcessLibrary::builtIn().count());
    EXPECT_GT(moved.count(), 0u);
    ASSERT_NE(moved.lookup("kernel_task", false), nullptr);
    EXPECT_EQ(ProcessLibrary::load({}).count(), moved.count());

    // A file of one's own (QUILLMERE_LIBRARY or beside the program) wins, whole: its
    // entries replace the built-in ones rather than joining them.
    const std::string own = scratch.write("processes.json", R"({"processes": [
        {"id": "mine", "names": ["kernel_task"], "title": "Mine", "oneLiner": "My own."}]})");
    const ProcessLibrary overridden = ProcessLibrary::load({nowhere, own});
    ASSERT_EQ(overridden.count(), 1u);
    EXPECT_EQ(overridden.lookup("kernel_task", false)->id, "mine");

    // The first file that exists is the one used, even if it turns out unreadable or
    // broken: the documented empty library, not a silent switch to another copy.
    EXPECT_EQ(ProcessLibrary::load({folder, own}).count(), 0u);
    const std::string broken = scratch.write("broken.json", R"({"processes": [)");
    std::vector<std::string> logged;
    setLogSink([&](const std::string& line) { logged.push_back(line); });
    EXPECT_EQ(ProcessLibrary::load({broken, own}).count(), 0u);
    setLogSink(nullptr);
    EXPECT_EQ(logged.size(), 1u);
}

}  // namespace
}  // namespace qm
