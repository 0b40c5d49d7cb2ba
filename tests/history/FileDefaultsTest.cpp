#include "core/FileDefaults.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "LogCapture.h"
#include "TempDirectory.h"

using namespace qm;
using qm::testing::LogCapture;
using qm::testing::TempDirectory;

namespace {

std::string slurp(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Writes the file as another process would: a new file renamed into place.
void writeAsAnotherProcess(const std::string& path, const std::string& text) {
    std::ofstream(path + ".other") << text;
    std::filesystem::rename(path + ".other", path);
}

}  // namespace

TEST(FileDefaults, SavesTypedValuesAndSeesOtherProcessesChanges) {
    TempDirectory dir;
    std::string path = dir.file("config/quillmere/settings.json");
    FileDefaults settings(path);
    EXPECT_FALSE(settings.contains("refresh.interval"));  // no file yet: no settings

    settings.set("refresh.interval", 1.0);
    settings.set("alert.highCPU", false);
    settings.set("menuBar.style", std::string("cpuMemory"));
    settings.set("count", int64_t{3});
    auto saved = nlohmann::json::parse(slurp(path));
    EXPECT_EQ(saved["refresh.interval"], 1.0);
    EXPECT_TRUE(saved["refresh.interval"].is_number_float());
    EXPECT_EQ(saved["alert.highCPU"], false);
    EXPECT_EQ(saved["menuBar.style"], "cpuMemory");
    EXPECT_TRUE(saved["count"].is_number_integer());
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);

    // A second instance (another process) reads the same values with their types.
    FileDefaults other(path);
    EXPECT_EQ(other.value("refresh.interval"), SettingValue(1.0));
    EXPECT_EQ(other.value("count"), SettingValue(int64_t{3}));
    EXPECT_EQ(other.stringValue("menuBar.style"), "cpuMemory");

    std::vector<std::string> heard;
    settings.observe([&](const std::string& key) { heard.push_back(key); });
    other.set("refresh.interval", 5.0);
    other.remove("count");
    EXPECT_EQ(settings.doubleValue("refresh.interval"), 5.0);
    EXPECT_FALSE(settings.contains("count"));
    std::sort(heard.begin(), heard.end());
    EXPECT_EQ(heard, (std::vector<std::string>{"count", "refresh.interval"}));

    // Saving starts from what the other process wrote, not from a stale copy.
    writeAsAnotherProcess(path, R"({"onboarded": true, "refresh.interval": 2.0})");
    settings.set("dock.visible", false);
    FileDefaults fresh(path);
    EXPECT_TRUE(fresh.boolValue("onboarded"));
    EXPECT_FALSE(fresh.boolValue("dock.visible"));
    EXPECT_EQ(fresh.all().size(), 3u);
}

TEST(FileDefaults, MalformedFileReadsAsDefaultsAndIsKeptWhenSaving) {
    TempDirectory dir;
    std::string path = dir.file("settings.json");
    std::string broken = "{\"refresh.interval\": 1.0,,,";
    std::ofstream(path) << broken;

    LogCapture log;
    FileDefaults settings(path);
    EXPECT_TRUE(settings.all().empty());
    EXPECT_FALSE(settings.contains("refresh.interval"));
    ASSERT_EQ(log.lines().size(), 1u);  // once, not on every read
    EXPECT_NE(log.lines()[0].find("not valid JSON"), std::string::npos);
    EXPECT_EQ(slurp(path), broken);  // reading never touches the file

    settings.set("onboarded", true);
    EXPECT_EQ(slurp(path + ".malformed"), broken);
    EXPECT_TRUE(nlohmann::json::parse(slurp(path))["onboarded"].get<bool>());

    // Values that are not settings (arrays, objects, null) are ignored, the rest kept.
    writeAsAnotherProcess(path, R"({"a": [1], "b": {"c": 1}, "d": null, "e": 7})");
    EXPECT_EQ(settings.all().size(), 1u);
    EXPECT_EQ(settings.intValue("e"), 7);

    // A top level that is not an object is as bad as broken syntax.
    writeAsAnotherProcess(path, "[1, 2]");
    EXPECT_TRUE(settings.all().empty());
}

TEST(FileDefaults, AFileThatCannotBeReadIsReportedAsSuchAndNeverSavedOver) {
    TempDirectory dir;
    // Over the size limit: valid JSON, but too much of it to read.
    const std::string big = dir.file("big.json");
    std::string text = "{\"refresh.interval\": 3, \"padding\": \"" + std::string(5 << 20, 'x') + "\"}";
    std::ofstream(big) << text;
    // A folder where the file should be.
    const std::string folder = dir.file("folder.json");
    std::filesystem::create_directory(folder);

    for (const auto& [path, reason] : {std::pair{big, "larger than 4 MB"}, std::pair{folder, "cannot be read"}}) {
        LogCapture log;
        FileDefaults settings(path);
        EXPECT_FALSE(settings.contains("refresh.interval"));
        settings.set("menuBar.style", std::string("icon"));
        auto lines = log.lines();
        ASSERT_FALSE(lines.empty()) << path;
        EXPECT_NE(lines[0].find(reason), std::string::npos) << lines[0];
        for (const auto& line : lines) EXPECT_EQ(line.find("not valid JSON"), std::string::npos) << line;
    }
    EXPECT_TRUE(slurp(big) == text);  // the user's values are still there
    EXPECT_TRUE(std::filesystem::is_directory(folder));
}
