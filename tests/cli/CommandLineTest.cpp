// The program as a user runs it: exit codes, one-line errors, JSON shapes, the
// words it uses on Linux, how quickly it answers, and the recorder's promise that
// stopping it never loses the minute in progress. Every run gets a private HOME, data
// and settings folder, so nothing here reads or writes the user's own history.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/Clock.h"
#include "history/HistoryStore.h"

namespace {

struct Result {
    int status = -1;
    std::string output;
    double seconds = 0;
};

// Runs the program through the shell. `streams` picks what is captured: "2>&1" folds
// errors into the output, "2>/dev/null" keeps stdout alone (for JSON).
Result run(const std::string& arguments, const std::string& streams = "2>&1") {
    Result result;
    const std::string command = std::string(QM_BINARY) + " " + arguments + " " + streams;
    const auto start = std::chrono::steady_clock::now();
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return result;
    std::array<char, 4096> buffer;
    while (size_t n = std::fread(buffer.data(), 1, buffer.size(), pipe)) result.output.append(buffer.data(), n);
    const int status = ::pclose(pipe);
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

nlohmann::json parsed(const Result& r) {
    auto json = nlohmann::json::parse(r.output, nullptr, false);
    EXPECT_FALSE(json.is_discarded()) << r.output;
    return json;
}

size_t lines(const std::string& text) { return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')); }

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

// A private home for the program: HOME, XDG data and config folders and QUILLMERE_DB
// all point into a fresh temporary folder for the test's lifetime.
class CommandLineTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "quillmere-cli-XXXXXX").string();
        home = ::mkdtemp(pattern.data());
        db = home + "/data/quillmere/history.sqlite";
        ::setenv("HOME", home.c_str(), 1);
        ::setenv("XDG_DATA_HOME", (home + "/data").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
        ::setenv("QUILLMERE_DB", db.c_str(), 1);
        ::unsetenv("NO_COLOR");
        ::unsetenv("COLUMNS");
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(home, ignored);
    }

    // A history as a Mac-era recorder might have left it: every kind of event with the
    // source texts ("heats your Mac", "Spotlight is indexing"), minutes and app rows of
    // the last hour.
    void writeHistory() {
        std::filesystem::create_directories(home + "/data/quillmere");
        qm::HistoryStore store(db);
        ASSERT_TRUE(store.isOpen());
        const double now = qm::Clock::system().now();
        const auto minuteNow = static_cast<int64_t>(now) / 60 * 60;
        for (int64_t m = 50; m >= 1; --m) {
            qm::SystemMinute minute;
            minute.ts = minuteNow - m * 60;
            minute.cpu = 20 + static_cast<double>(m);
            minute.memUsed = 4e9;
            minute.memTotal = 16e9;
            minute.pressureLevel = m == 10 ? 4 : 1;
            minute.battery = 80;
            minute.onBattery = m < 20;
            store.write(minute, {{minute.ts, "proc:busy", "busy", 95, 2e9, 30, 1e6},
                                 {minute.ts, "proc:mds_stores", "mds_stores", 20, 1e8, 5, 0}});
        }
        const std::vector<std::pair<std::string, std::string>> texts{
            {"busy is using a lot of CPU", "95% of a core for 3 min. This drains battery and heats your Mac."},
            {"busy keeps using more memory",
             "Grew by 1.6 GB in 30 min (now 2.0 GB). Restarting it usually frees this."},
            {"Memory is under heavy pressure", "busy is using the most memory (2.0 GB)."},
            {"Your Mac is running hot", "macOS is slowing things down to cool off. Busiest app: busy (95%)."},
            {"Spotlight is indexing", "mds_stores and mdworker are cataloguing files (50% CPU)."},
            {"Unplugged", "Battery at 80%"},
            {"Plugged in", "Battery at 75%"},
            {"busy keeps crashing", "It restarted 5 times in 10 minutes on your Mac."},
            {"Your Mac is swapping to disk", "6.0 GB of memory moved to the SSD. Things may feel slower."},
        };
        for (size_t i = 0; i < qm::allEventKinds.size(); ++i) {
            qm::TimelineEvent event;
            event.date = now - 600 - 60 * static_cast<double>(i);
            event.kind = qm::allEventKinds[i];
            event.severity = static_cast<int64_t>(i % 3);
            event.title = texts[i].first;
            event.detail = texts[i].second;
            event.appKey = "proc:busy";
            event.appName = "busy";
            store.write(event);
        }
        store.waitUntilIdle();
    }

    std::string home;
    std::string db;
};

TEST_F(CommandLineTest, RefusalsAreOneLineNamingTheCommandsHelpWithANonZeroExit) {
    writeHistory();
    struct Case {
        std::string arguments;
        int status;
        std::string says;
    };
    const std::vector<Case> cases{
        {"--frobnicate", 2, "unknown option \"--frobnicate\" (see quillmere --help)"},
        {"nosuchcommand", 2, "unknown command \"nosuchcommand\""},
        {"sample --count 0", 2,
         "--count takes a whole number from 1 to 1000000, not \"0\" (see quillmere sample --help)"},
        {"sample -n -3", 2, "see quillmere sample --help"},
        {"sample --interval 0.2", 2, "--interval takes a number of seconds from 1 to 86400"},
        {"sample --bogus", 2, "quillmere sample: unknown option \"--bogus\""},
        {"bar --style sideways", 2, "--style takes icon, cpu, cpuMemory, temperature or power"},
        {"events --since", 2, "--since needs a value"},
        {"events --since yesterday", 2, "--since takes 2h"},
        {"timeline --at 25:00", 2, "--at takes 2h"},
        {"history export --json --from soon", 2, "--from takes 2h"},
        {"timeline --range 2y", 2, "1h, 24h, 7d, 30d"},
        {"config", 2, "say which: get, set, unset or list (see quillmere config --help)"},
        {"config frob", 2, "unknown command \"frob\""},
        {"config get no.such.key", 2, "unknown key"},
        {"config set alert.highCPU.threshold lots", 2, "takes a number"},
        {"events --db /no/such/dir/h.sqlite", 1, "no history database at /no/such/dir/h.sqlite"},
        {"history erase", 1, "--yes"},
        {"explain no-such-process-anywhere", 1, "is not in the library"},
    };
    for (const Case& c : cases) {
        Result r = run(c.arguments);
        EXPECT_EQ(r.status, c.status) << c.arguments << ": " << r.output;
        EXPECT_EQ(lines(r.output), 1u) << c.arguments << ": " << r.output;
        EXPECT_NE(r.output.find(c.says), std::string::npos) << c.arguments << ": " << r.output;
        EXPECT_EQ(r.output.find(".000000"), std::string::npos) << c.arguments << ": " << r.output;
    }
    EXPECT_GT(countRows(db, "event"), 0);  // the refused erase changed nothing

    Result version = run("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_NE(version.output.find("quillmere"), std::string::npos);
}

TEST_F(CommandLineTest, WritesThatFailEndInOneLineAndExitOne) {
    // sample runs until interrupted: a write that fails has to end it too.
    for (const char* arguments : {"config list > /dev/full", "--help > /dev/full", "config list >&-",
                                  "sample > /dev/full", "sample --json >&-"}) {
        Result r = run(arguments, "2>&1");
        EXPECT_NE(r.status, 0) << arguments;
        EXPECT_LE(lines(r.output), 1u) << arguments << ": " << r.output;
    }
}

TEST_F(CommandLineTest, NothingRecordedSaysHowToStartARecorderAndCreatesNothing) {
    for (const char* arguments : {"timeline", "events", "advisor", "energy"}) {
        Result r = run(arguments);
        EXPECT_EQ(r.status, 0) << arguments << ": " << r.output;
        EXPECT_NE(r.output.find("Nothing has been recorded yet"), std::string::npos) << arguments << r.output;
        EXPECT_NE(r.output.find("quillmere record"), std::string::npos) << arguments;
        // The old texts promise a recording that is not happening.
        EXPECT_EQ(r.output.find("Recording has started"), std::string::npos) << arguments;
        EXPECT_EQ(r.output.find("appear here shortly"), std::string::npos) << arguments;
        EXPECT_EQ(r.output.find("Learning how you work"), std::string::npos) << arguments;
    }
    for (const char* arguments : {"timeline --json", "advisor --json", "energy --json"}) {
        Result r = run(arguments, "2>/dev/null");
        EXPECT_EQ(parsed(r)["recorded"], false) << arguments;
    }
    EXPECT_EQ(parsed(run("events --json", "2>/dev/null")), nlohmann::json::array());
    EXPECT_FALSE(std::filesystem::exists(db));  // reading never creates a history
}

TEST_F(CommandLineTest, EveryTimeArgumentReadsTheSameGrammar) {
    writeHistory();
    for (const char* since :
         {"2h", "\"2h ago\"", "-2h", "90m", "2026-01-01", "\"2026-01-01 14:05\"", "2026-01-01T14:05:00Z", "now"}) {
        EXPECT_EQ(run(std::string("events --json --since ") + since, "2>&1").status, 0) << since;
        EXPECT_EQ(run(std::string("history export --json --table events --from ") + since).status, 0) << since;
    }
    for (const char* at : {"-30m", "\"30m ago\"", "30m"}) {
        Result r = run(std::string("timeline --range 1h --json --at ") + at, "2>/dev/null");
        ASSERT_EQ(r.status, 0) << at;
        EXPECT_TRUE(parsed(r)["moment"].is_object()) << at;
    }
    // A clock time reads as the latest such moment: "--at 2:05 PM" is never refused as
    // outside the last 30 days.
    EXPECT_EQ(run("timeline --range 30d --at \"2:05 PM\"").status, 0);
    EXPECT_EQ(run("timeline --range 30d --at 14:05").status, 0);

    Result events = run("events --json --since 2h", "2>/dev/null");
    EXPECT_EQ(parsed(events).size(), qm::allEventKinds.size());
    EXPECT_EQ(parsed(run("events --json --since 5m", "2>/dev/null")).size(), 0u);
}

TEST_F(CommandLineTest, LinuxOutputNeverNamesTheMacInTextOrJSON) {
    writeHistory();
    const std::regex mac("\\bMacs?\\b|macOS|Spotlight|apple\\.logo");
    const std::vector<std::string> commands{
        "",
        "status",
        "status --json",
        "apps",
        "apps --json",
        "apps --tree --filter system",
        "sensors",
        "sensors --json",
        "energy",
        "energy --json",
        "events",
        "events --json",
        "timeline --range 1h",
        "timeline --range 1h --json --at -30m",
        "advisor",
        "advisor --json",
        "history export --json",
        "history export --csv --table events",
        "history size --json",
        "config list",
        "config list --json",
        "bar",
        "bar --json",
        "explain kernel_task",
        "explain kernel_task --json",
        "search index",
        "search index --json",
        "sample --count 1",
        "sample --count 1 --json",
    };
    for (const std::string& command : commands) {
        Result r = run(command);
        EXPECT_EQ(r.status, 0) << command << ": " << r.output;
        std::smatch found;
        EXPECT_FALSE(std::regex_search(r.output, found, mac)) << command << " says \"" << found.str() << "\" in:\n"
                                                              << r.output;
        if (command.find("--json") != std::string::npos) {
            // One document, or one object per line for the streams.
            if (command.rfind("sample", 0) == 0) {
                EXPECT_EQ(lines(r.output), 1u);
            }
            parsed(run(command, "2>/dev/null"));
        }
    }
    // The stored events read in the computer's words, with the file indexer's name.
    std::string events = run("events").output;
    EXPECT_NE(events.find("heats your computer"), std::string::npos) << events;
    EXPECT_NE(events.find("file indexer"), std::string::npos) << events;
    // Mac-only settings are hidden here.
    EXPECT_EQ(run("config list").output.find("dock.visible"), std::string::npos);
}

TEST_F(CommandLineTest, JsonShapesOfTheOneDocumentCommands) {
    writeHistory();
    auto status = parsed(run("status --json", "2>/dev/null"));
    for (const char* key : {"title", "detail", "level", "levelName", "symbol", "processes", "apps", "chips"})
        EXPECT_TRUE(status.contains(key)) << key;
    auto timeline = parsed(run("timeline --range 1h --json", "2>/dev/null"));
    EXPECT_EQ(timeline["range"], "1H");
    EXPECT_EQ(timeline["recorded"], true);
    EXPECT_GE(timeline["rows"].size(), 40u);
    EXPECT_EQ(timeline["events"].size(), qm::allEventKinds.size());
    auto size = parsed(run("history size --json", "2>/dev/null"));
    EXPECT_GT(size["bytes"].get<uint64_t>(), 0u);
    EXPECT_EQ(size["path"], db);
    auto config = parsed(run("config get alert.highCPU.threshold --json", "2>/dev/null"));
    EXPECT_EQ(config["value"], 90.0);
    EXPECT_EQ(config["isDefault"], true);
    auto bar = parsed(run("bar --json --style cpuMemory", "2>/dev/null"));
    for (const char* key : {"text", "alt", "tooltip", "class", "percentage"}) EXPECT_TRUE(bar.contains(key)) << key;
    EXPECT_EQ(bar["alt"], "cpuMemory");
    Result plain = run("bar --style cpuMemory", "2>/dev/null");
    EXPECT_EQ(lines(plain.output), 1u) << plain.output;  // polybar shows the last line it gets
}

// A busy loop in a child process for as long as the object lives.
class BusyLoop {
public:
    BusyLoop() {
        pid_ = ::fork();
        if (pid_ == 0) {
            volatile unsigned long spin = 0;
            for (;;) spin = spin + 1;
        }
    }
    ~BusyLoop() {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    BusyLoop(const BusyLoop&) = delete;
    BusyLoop& operator=(const BusyLoop&) = delete;
    pid_t pid() const { return pid_; }

private:
    pid_t pid_;
};

TEST_F(CommandLineTest, FirstAnswersComeQuicklyWithTrueFigures) {
    BusyLoop busy;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));

    Result sample = run("sample --count 1 --json", "2>/dev/null");
    ASSERT_EQ(sample.status, 0);
    auto snapshot = parsed(sample);
    // The first figure covers the short priming interval it really measured, and a
    // core spinning shows: never the 0 % of counters without a previous read.
    EXPECT_LT(snapshot["interval"].get<double>(), 1.5);  // never the claimed 2 or 5 s of old
    EXPECT_GT(snapshot["cpu"]["total"].get<double>(), 2.0);

    Result apps = run("apps --json", "2>/dev/null");
    ASSERT_EQ(apps.status, 0);
    bool seen = false;
    for (const auto& row : parsed(apps)) {
        for (const auto& pid : row["pids"])
            if (pid == busy.pid()) {
                seen = true;
                // Other work may share the cores; the loop still shows, never as 0.
                EXPECT_GT(row["cpu"].get<double>(), 2.0) << row.dump();
            }
    }
    EXPECT_TRUE(seen);

    Result status = run("status --json", "2>/dev/null");
    ASSERT_EQ(status.status, 0);
    // Answers take about half a second; the bound leaves room for a loaded machine but
    // not for sample's old five seconds of waiting.
    for (const Result* r : {&sample, &apps, &status}) EXPECT_LT(r->seconds, 3.0);
    std::printf("sample --count 1 --json %.2f s, apps --json %.2f s, status --json %.2f s\n", sample.seconds,
                apps.seconds, status.seconds);
}

TEST_F(CommandLineTest, BarFollowPrintsALineEveryPeriodFromOneProcess) {
    const std::string command = std::string(QM_BINARY) + " bar --follow --json --interval 0.5";
    FILE* pipe = ::popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::vector<nlohmann::json> received;
    std::array<char, 4096> line;
    const auto start = std::chrono::steady_clock::now();
    while (received.size() < 3 && std::fgets(line.data(), line.size(), pipe))
        received.push_back(nlohmann::json::parse(line.data(), nullptr, false));
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ::pclose(pipe);  // closing the pipe ends the program at its next line
    ASSERT_EQ(received.size(), 3u);
    for (const auto& json : received) {
        ASSERT_FALSE(json.is_discarded());
        EXPECT_TRUE(json["class"] == "normal" || json["class"] == "warning" || json["class"] == "critical");
        EXPECT_TRUE(json["percentage"].is_number_integer());
    }
    EXPECT_GT(elapsed, 1.0);  // primed once, then one line a period
    EXPECT_LT(elapsed, 10.0);
}

TEST_F(CommandLineTest, SampleJsonAnswersAfterPrimingThenKeepsTheConfiguredInterval) {
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

TEST_F(CommandLineTest, OneRecorderPerDatabaseAndStoppingSavesThePartialMinute) {
    const auto dir = std::filesystem::path(home) / "recorder";
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

TEST_F(CommandLineTest, AppsJsonCarriesWhoMadeEachGroup) {
    Result apps = run("apps --json");
    ASSERT_EQ(apps.status, 0) << apps.output;
    auto rows = nlohmann::json::parse(apps.output, nullptr, false);
    ASSERT_TRUE(rows.is_array()) << apps.output;
    ASSERT_FALSE(rows.empty());
    // Linux's own words: nothing here is vouched for by Apple.
    const std::vector<std::string> levels{"package", "store", "modified", "unpackaged", "unknown"};
    for (const auto& row : rows) {
        ASSERT_TRUE(row.contains("trust")) << row.dump();
        EXPECT_NE(std::find(levels.begin(), levels.end(), row["trust"].get<std::string>()), levels.end()) << row.dump();
    }
}

TEST_F(CommandLineTest, EveryExampleInTheReadmesCommandTableWorksAsPrinted) {
    writeHistory();
    // The table's rows end in "| `quillmere ...` |"; README sits two folders above the fixtures.
    std::ifstream readme(std::filesystem::path(QM_FIXTURES).parent_path().parent_path() / "README.md");
    ASSERT_TRUE(readme.good());
    const std::regex example(R"(^\| `[a-z ]+` \|.*\| `quillmere ([^`]*)` \|$)");
    std::vector<std::string> commands;
    std::string line;
    while (std::getline(readme, line)) {
        std::smatch match;
        if (std::regex_match(line, match, example)) commands.push_back(match[1]);
    }
    EXPECT_GE(commands.size(), 20u);
    for (const std::string& arguments : commands) {
        // The recorder and the view run until stopped (the view has its own test), and a
        // test notification needs the desktop's bus.
        if (arguments == "record" || arguments == "top" || arguments == "alerts test") continue;
        Result r = run(arguments);
        EXPECT_EQ(r.status, 0) << "quillmere " << arguments << ": " << r.output;
    }
}

TEST_F(CommandLineTest, AppsTableRowsFitTheTerminalWidthDroppingColumnsNotWrapping) {
    // Through a pipe the program reads the width from COLUMNS, as on a terminal.
    for (size_t width : {20u, 40u, 80u, 200u}) {
        ::setenv("COLUMNS", std::to_string(width).c_str(), 1);
        Result r = run("apps --tree", "2>/dev/null");
        ASSERT_EQ(r.status, 0) << width;
        std::istringstream text(r.output);
        std::string line;
        bool table = false;
        size_t rows = 0;
        while (std::getline(text, line)) {
            if (line.rfind("NAME", 0) == 0) table = true;
            if (line.empty()) table = false;  // the footnote under the table is prose
            if (!table) continue;
            ++rows;
            const auto characters = static_cast<size_t>(std::count_if(line.begin(), line.end(), [](char c) {
                return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
            }));
            EXPECT_LE(characters, width) << line;
            if (rows == 1) {
                EXPECT_NE(line.find("CPU"), std::string::npos) << line;
                EXPECT_EQ(line.find("PID") != std::string::npos, width >= 40) << line;
                EXPECT_EQ(line.find("DISK") != std::string::npos, width >= 80) << line;
            }
        }
        EXPECT_GT(rows, 1u) << width;
    }
    ::unsetenv("COLUMNS");
}

}  // namespace
