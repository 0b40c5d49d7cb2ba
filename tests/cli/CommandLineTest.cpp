// The program as a user runs it: exit codes, one-line errors, and the recorder's
// promise that stopping it never loses the minute in progress.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

namespace {

struct Result {
    int status = -1;
    std::string output;
};

// Runs the program through the shell with stderr folded into the output.
Result run(const std::string& arguments) {
    Result result;
    const std::string command = std::string(QM_BINARY) + " " + arguments + " 2>&1";
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return result;
    std::array<char, 4096> buffer;
    while (size_t n = std::fread(buffer.data(), 1, buffer.size(), pipe)) result.output.append(buffer.data(), n);
    const int status = ::pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

int64_t countRows(const std::string& path, const char* table) {
    sqlite3* db = nullptr;
    int64_t count = -1;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt* stmt = nullptr;
        const std::string sql = std::string("SELECT COUNT(*) FROM ") + table;
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK && sqlite3_step(stmt) == SQLITE_ROW)
            count = sqlite3_column_int64(stmt, 0);
        sqlite3_finalize(stmt);
    }
    sqlite3_close(db);
    return count;
}

TEST(CommandLineTest, NonsenseArgumentsGiveOneLineAndExitCodeTwo) {
    for (const char* arguments :
         {"--frobnicate", "sample --count -3", "sample --interval 0.2", "nosuchcommand", "bar --style sideways"}) {
        Result r = run(arguments);
        EXPECT_EQ(r.status, 2) << arguments;
        EXPECT_EQ(std::count(r.output.begin(), r.output.end(), '\n'), 1) << arguments << ": " << r.output;
    }
    Result version = run("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_NE(version.output.find("quillmere"), std::string::npos);
}

TEST(CommandLineTest, SampleJsonAnswersAfterPrimingThenKeepsTheConfiguredInterval) {
    Result r = run("sample --json --count 2 --interval 1");
    ASSERT_EQ(r.status, 0) << r.output;
    std::istringstream lines(r.output);
    std::string line;
    int count = 0;
    while (std::getline(lines, line)) {
        auto snapshot = nlohmann::json::parse(line);
        // The first answer covers the short priming interval it really measured; the
        // next one the configured period.
        const double interval = snapshot["interval"].get<double>();
        if (count == 0) {
            EXPECT_GT(interval, 0.3);
            EXPECT_LT(interval, 0.8);
        } else {
            EXPECT_NEAR(interval, 1.0, 0.3);
        }
        EXPECT_EQ(snapshot["cpu"]["perCore"].size(), snapshot["cpu"]["coreTypes"].size());
        EXPECT_GT(snapshot["memory"]["total"].get<uint64_t>(), 0u);
        EXPECT_TRUE(snapshot["gpu"].is_null() || snapshot["gpu"].is_number());
        ++count;
    }
    EXPECT_EQ(count, 2);
}

TEST(CommandLineTest, OneRecorderPerDatabaseAndStoppingSavesThePartialMinute) {
    const auto dir = std::filesystem::temp_directory_path() / ("qm-cli-" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir);
    const std::string db = (dir / "history.sqlite").string();

    const pid_t recorder = ::fork();
    ASSERT_GE(recorder, 0);
    if (recorder == 0) {
        ::execl(QM_BINARY, QM_BINARY, "record", "--quiet", "--db", db.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    // The first background tick comes after 5 seconds.
    std::this_thread::sleep_for(std::chrono::milliseconds(6500));

    Result second = run("record --db " + db);
    EXPECT_EQ(second.status, 1);
    EXPECT_NE(second.output.find("pid " + std::to_string(recorder)), std::string::npos) << second.output;

    ::kill(recorder, SIGTERM);
    int status = 0;
    ::waitpid(recorder, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_GE(countRows(db, "sys"), 1);
    EXPECT_EQ(std::filesystem::status(dir).permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_all);
    std::filesystem::remove_all(dir);
}

TEST(CommandLineTest, AppsJsonCarriesWhoMadeEachGroup) {
    Result apps = run("apps --json");
    ASSERT_EQ(apps.status, 0) << apps.output;
    auto rows = nlohmann::json::parse(apps.output, nullptr, false);
    ASSERT_TRUE(rows.is_array()) << apps.output;
    ASSERT_FALSE(rows.empty());
    const std::vector<std::string> levels{"apple", "notarized", "signed", "unsigned", "unknown"};
    for (const auto& row : rows) {
        ASSERT_TRUE(row.contains("trust")) << row.dump();
        EXPECT_NE(std::find(levels.begin(), levels.end(), row["trust"].get<std::string>()), levels.end()) << row.dump();
    }
}

}  // namespace
