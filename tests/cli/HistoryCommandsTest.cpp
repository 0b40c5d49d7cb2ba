// The recorder and the history commands as a hostile user meets them: names that are
// not UTF-8, damaged or foreign databases, closed standard streams, signals.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>

namespace {

struct Result {
    int status = -1;
    std::string output;
};

// Runs the program through the shell with stderr folded into the output; `prefix`
// goes before the program (environment settings, redirections of the shell).
Result run(const std::string& arguments, const std::string& prefix = "") {
    Result result;
    const std::string command = prefix + " " + std::string(QM_BINARY) + " " + arguments + " 2>&1";
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return result;
    std::array<char, 4096> buffer;
    while (size_t n = std::fread(buffer.data(), 1, buffer.size(), pipe)) result.output.append(buffer.data(), n);
    const int status = ::pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

class Scratch {
public:
    Scratch() {
        std::string pattern = (std::filesystem::temp_directory_path() / "qm-history-cli-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

void exec(const std::string& db, const std::string& sql) {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(db.c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    sqlite3_close(handle);
}

const char* schema =
    "CREATE TABLE sys(ts INTEGER PRIMARY KEY, cpu REAL, mem_used REAL, mem_total REAL, pressure REAL, plevel "
    "INTEGER, swap REAL, gpu REAL, power REAL, soc_temp REAL, net_rx REAL, net_tx REAL, disk_r REAL, disk_w REAL, "
    "battery REAL, on_battery INTEGER, thermal INTEGER);"
    "CREATE TABLE app(ts INTEGER, key TEXT, name TEXT, cpu REAL, mem REAL, energy REAL, disk_w REAL, "
    "PRIMARY KEY(ts, key)) WITHOUT ROWID;"
    "CREATE TABLE event(id INTEGER PRIMARY KEY AUTOINCREMENT, ts INTEGER, kind TEXT, severity INTEGER, title TEXT, "
    "detail TEXT, app_key TEXT, app_name TEXT);";

bool parsesAsJson(const std::string& text) { return !nlohmann::json::parse(text, nullptr, false).is_discarded(); }

}  // namespace

TEST(HistoryCommandsTest, NamesThatAreNotUtf8NeverStopAJsonOrCsvCommand) {
    Scratch dir;
    // A running process whose name is not UTF-8, as any user can start one.
    const std::string odd = dir.file("x\xff");
    std::filesystem::copy_file("/bin/sleep", odd);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::execl(odd.c_str(), odd.c_str(), "30", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    Result sample = run("sample --json --count 1 --interval 1");
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_EQ(sample.status, 0) << sample.output.substr(0, 300);
    EXPECT_TRUE(parsesAsJson(sample.output));
    EXPECT_NE(sample.output.find("x\xEF\xBF\xBD"), std::string::npos);  // the process was seen

    // Rows the recorder stored with the kernel's bytes.
    const std::string db = dir.file("history.sqlite");
    const int64_t ts = (static_cast<int64_t>(::time(nullptr)) / 60 - 5) * 60;
    exec(db, std::string(schema) + "INSERT INTO sys(ts, cpu, on_battery) VALUES(" + std::to_string(ts) +
                 ", 5, 0); INSERT INTO app VALUES(" + std::to_string(ts) +
                 ", 'proc:x' || char(255) || '', CAST(X'78FF' AS TEXT), 50, 1e6, 1, 0);"
                 "INSERT INTO event(ts, kind, severity, title, detail, app_key, app_name) VALUES(" +
                 std::to_string(ts) + ", 'highCPU', 2, CAST(X'78FF20627573' AS TEXT), 'd', 'proc:x', " +
                 "CAST(X'78FF' AS TEXT));");
    for (std::string command : {"history export --json", "events --json --since 1h"}) {
        Result r = run(command + " --db " + db);
        EXPECT_EQ(r.status, 0) << command << ": " << r.output.substr(0, 300);
        EXPECT_TRUE(parsesAsJson(r.output)) << command;
    }
    Result csv = run("history export --csv --table apps --db " + db);
    EXPECT_EQ(csv.status, 0) << csv.output;
    EXPECT_NE(csv.output.find("x\xEF\xBF\xBD"), std::string::npos) << csv.output;

    Result config = run("config set whatsNew.lastSeenVersion \"$(printf 'a\\377')\"", "XDG_CONFIG_HOME=" + dir.path());
    EXPECT_EQ(config.status, 0) << config.output;
    Result get = run("config get whatsNew.lastSeenVersion", "XDG_CONFIG_HOME=" + dir.path());
    EXPECT_EQ(get.status, 0) << get.output;
}

TEST(HistoryCommandsTest, ARecorderWithClosedStreamsKeepsItsLockAndSavesTheMinuteOnHangup) {
    Scratch dir;
    const std::string db = dir.file("history.sqlite");
    std::filesystem::create_symlink(db, dir.file("other-name.sqlite"));
    const pid_t recorder = ::fork();
    ASSERT_GE(recorder, 0);
    if (recorder == 0) {
        ::close(STDOUT_FILENO);  // started from a closed terminal or by a careless script
        ::close(STDERR_FILENO);
        ::execl(QM_BINARY, QM_BINARY, "record", "--db", db.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    // The first background tick comes after 5 seconds.
    std::this_thread::sleep_for(std::chrono::milliseconds(6500));
    std::ifstream lockFile(db + ".lock");
    std::string stored((std::istreambuf_iterator<char>(lockFile)), std::istreambuf_iterator<char>());
    EXPECT_EQ(stored, std::to_string(recorder) + "\n");  // not overwritten by the banner

    Result second = run("record --db " + dir.file("other-name.sqlite"));
    EXPECT_EQ(second.status, 1);
    EXPECT_NE(second.output.find("pid " + std::to_string(recorder)), std::string::npos) << second.output;

    ::kill(recorder, SIGHUP);
    int status = 0;
    ::waitpid(recorder, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    Result exported = run("history export --csv --db " + db);
    EXPECT_EQ(exported.status, 0);
    EXPECT_GE(std::count(exported.output.begin(), exported.output.end(), '\n'), 2) << exported.output;
}

TEST(HistoryCommandsTest, AHistoryThatCannotBeReadIsAnErrorNamingTheFileNeverAnEmptyAnswer) {
    Scratch dir;
    const std::string folder = dir.file("folder.sqlite");
    std::filesystem::create_directory(folder);
    const std::string foreign = dir.file("foreign.sqlite");
    exec(foreign, "CREATE TABLE sys(name TEXT, value TEXT); INSERT INTO sys VALUES('theirs', 'kept');");
    for (const std::string& db : {folder, foreign}) {
        for (std::string command : {"events", "history export --csv", "history erase --yes"}) {
            Result r = run(command + " --db " + db);
            EXPECT_NE(r.status, 0) << command << " " << db << ": " << r.output;
            EXPECT_NE(r.output.find(db), std::string::npos) << command << ": " << r.output;
            EXPECT_EQ(r.output.find("Erased"), std::string::npos) << r.output;
            EXPECT_EQ(r.output.find("No notable events"), std::string::npos) << r.output;
        }
    }
    Result record = run("record --db " + folder);
    EXPECT_EQ(record.status, 1) << record.output;
    EXPECT_NE(record.output.find("it is a folder"), std::string::npos) << record.output;
    // Another program's database is refused by the recorder too, and stays as it was.
    record = run("record --db " + foreign);
    EXPECT_EQ(record.status, 1) << record.output;
    EXPECT_NE(record.output.find("another program"), std::string::npos) << record.output;
    EXPECT_TRUE(std::filesystem::exists(foreign));
    EXPECT_EQ(run("history export --json --db " + dir.file("none.sqlite") + " > /dev/full").status, 1);
}

TEST(HistoryCommandsTest, NumericSettingsOutsideTheirRangeAreRefusedWithTheRange) {
    Scratch dir;
    const std::string env = "XDG_CONFIG_HOME=" + dir.path();
    for (std::string arguments : {"refresh.interval 1e10", "alert.highCPU.threshold 0", "alert.highCPU.minutes -1"}) {
        Result r = run("config set " + arguments, env);
        EXPECT_EQ(r.status, 2) << arguments << ": " << r.output;
        EXPECT_NE(r.output.find(" to "), std::string::npos) << r.output;
    }
    EXPECT_EQ(run("config set refresh.interval 5", env).status, 0);
}

TEST(HistoryCommandsTest, ANameCarryingTerminalEscapesReachesNoCommandsOutputRaw) {
    Scratch dir;
    // ESC ] (OSC, retitles the terminal) ended by BEL, the one-character CSI (U+009B)
    // and ESC [ (CSI, colours): a name any user can give a program.
    const std::string hostile =
        "y\x1b]0;PWNED\x07\xc2\x9b"
        "2J\x1b[31mz";
    const std::string program = dir.file(hostile);
    std::filesystem::copy_file("/bin/sleep", program);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::execl(program.c_str(), program.c_str(), "60", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    const std::string db = dir.file("history.sqlite");
    const int64_t ts = (static_cast<int64_t>(::time(nullptr)) / 60 - 5) * 60;
    const std::string name = "CAST(X'" + [&] {
        std::string hex;
        char two[3];
        for (unsigned char c : hostile) std::snprintf(two, sizeof two, "%02X", c), hex += two;
        return hex;
    }() + "' AS TEXT)";
    exec(db, std::string(schema) + "INSERT INTO sys(ts, cpu, mem_used, mem_total, on_battery) VALUES(" +
                 std::to_string(ts) + ", 5, 4e9, 16e9, 0); INSERT INTO app VALUES(" + std::to_string(ts) +
                 ", 'proc:' || " + name + ", " + name + ", 50, 1e9, 100, 1e6);" +
                 "INSERT INTO event(ts, kind, severity, title, detail, app_key, app_name) VALUES(" +
                 std::to_string(ts) + ", 'highCPU', 2, " + name + ", " + name + ", 'proc:' || " + name + ", " + name +
                 ");");
    const std::string env = "QUILLMERE_DB=" + db + " XDG_CONFIG_HOME=" + dir.path() + " XDG_DATA_HOME=" + dir.path();
    run("config set whatsNew.lastSeenVersion \"$(printf 'v\\033]0;PWNED\\007')\"", env);

    const std::string pid = std::to_string(child);
    const std::vector<std::string> commands = {"status",
                                               "apps",
                                               "apps --pid " + pid,
                                               "sample --count 1 --interval 1",
                                               "explain " + pid,
                                               "search y",
                                               "search PWNED",
                                               "events --since 1h",
                                               "timeline --range 1h",
                                               "energy",
                                               "advisor",
                                               "history export --csv",
                                               "history export --csv --table apps",
                                               "history export --csv --table events",
                                               "history size",
                                               "config list",
                                               "config get whatsNew.lastSeenVersion",
                                               "sensors",
                                               "bar",
                                               "record --no-notify"};
    for (const std::string& command : commands) {
        // The recorder runs until interrupted: three seconds of it.
        const bool recorder = command.rfind("record", 0) == 0;
        Result r = run(command, env + (recorder ? " timeout -s INT 3" : ""));
        for (const char* raw : {"\x1b", "\x07", "\xc2\x9b"})
            EXPECT_EQ(r.output.find(raw), std::string::npos) << command << ": " << r.output.substr(0, 400);
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}
