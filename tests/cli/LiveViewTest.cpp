// The terminal view: its layout at the sizes people really have (a 20x5 split, 40x12,
// 80x24, a 200-column monitor) in every mode; what keys and clicks do to the list
// (sorting, filtering, groups, the tree, and the choice of what a quit may end); and
// the real program on a pseudo-terminal, driven as a person would.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sqlite3.h>
#include <sys/ioctl.h>
#ifdef __APPLE__
#include <util.h>  // forkpty
#else
#include <pty.h>
#endif
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "cli/LiveLayout.h"
#include "cli/LiveRows.h"
#include "cli/LiveState.h"
#include "cli/LiveText.h"
#include "core/Utf8.h"
#include "fmt/Fmt.h"

namespace {

using namespace qm::cli::live;

qm::ProcessSample process(int32_t pid, const std::string& name, double cpu, uint64_t memory, int32_t ppid = 1) {
    qm::ProcessSample p;
    p.pid = pid;
    p.ppid = ppid;
    p.uid = 1000;
    p.name = name;
    p.cpu = cpu;
    p.memory = memory;
    return p;
}

qm::AppGroup group(const std::string& id, const std::string& name, std::vector<qm::ProcessSample> processes) {
    qm::AppGroup g;
    g.id = id;
    g.name = name;
    g.processes = std::move(processes);
    for (const auto& p : g.processes) {
        g.cpu += p.cpu;
        g.memory += p.memory;
    }
    return g;
}

qm::Snapshot busyMachine(size_t groups) {
    qm::Snapshot s;
    s.date = 1'800'000'000;
    s.interval = 2;
    s.uptime = 90'000;
    s.processCount = 400;
    s.cpu.total = 95;
    s.cpu.user = 70;
    s.cpu.system = 25;
    s.cpu.perCore = {95, 12, 60, 100, 3, 50, 77, 8};
    s.memory.total = 16ull << 30;
    s.memory.app = 6ull << 30;
    s.memory.wired = 2ull << 30;
    s.memory.cached = 5ull << 30;
    s.memory.free = 3ull << 30;
    s.memory.swapTotal = 4ull << 30;
    s.memory.swapUsed = 1ull << 30;
    s.memory.pressure = 80;
    s.memory.pressureLevel = qm::PressureLevel::critical;
    s.systemPower = 14.5;
    s.battery.present = true;
    s.battery.percent = 64;
    s.battery.minutesRemaining = 95;
    for (size_t i = 0; i < groups; ++i) {
        // Names of every kind: a control sequence, far too long, not UTF-8, wide
        // characters, a right-to-left override, a tab.
        const std::string name = i == 3   ? "evil\x1b[2Jname"
                                 : i == 4 ? std::string(300, 'x')
                                 : i == 5 ? "bad\xff\xfename"
                                 : i == 6 ? "\u6f22\u5b57\u540d\u524d"
                                 : i == 8 ? "rtl\u202eeman"
                                 : i == 9 ? "tab\tname"
                                          : "app" + std::to_string(i);
        std::vector<qm::ProcessSample> members;
        const size_t count = i % 3 == 0 ? 1 : 3;
        for (size_t k = 0; k < count; ++k)
            members.push_back(process(static_cast<int32_t>(1000 + i * 10 + k), name,
                                      i == 7 ? 25.0 : static_cast<double>((i * 7 + k) % 13), (i + 1) * 10'000'000));
        s.groups.push_back(group("proc:" + name, name, members));
    }
    return s;
}

// Every line within the width, no control bytes, valid UTF-8, at most `height` lines.
void expectFits(const Screen& screen, size_t width, size_t height, const std::string& what) {
    EXPECT_LE(screen.lines.size(), height) << what;
    for (const auto& line : screen.lines) {
        const std::string text = lineText(line);
        EXPECT_LE(lineWidth(line), width) << what << ": " << text;
        EXPECT_TRUE(qm::isValidUtf8(text)) << what << ": " << text;
        for (unsigned char c : text) EXPECT_TRUE(c >= 0x20 && c != 0x7F) << what << ": " << text;
        EXPECT_EQ(text.find("\u202e"), std::string::npos) << what;
    }
}

TEST(LiveLayoutTest, EveryModeFitsEveryTerminalAndTheListUsesTheWholeWidth) {
    qm::Fmt::setLocaleForTesting("en_US", "UTC");
    const qm::Snapshot s = busyMachine(60);
    Trends trends;
    for (int i = 0; i < 70; ++i) trends.add(s);
    Moment moment;
    moment.ts = 1'799'999'940;
    moment.system = qm::SystemMinute{};
    moment.apps.push_back({moment.ts, "proc:x", "BusiestThen\x1b[31m", 80, 1e9, 0, 0});
    moment.events.push_back({1, 1'799'999'000, qm::EventKind::highCPU, 2, "x used 300%", "detail", {}, {}, {}});
    Pane pane;
    pane.title = "Example";
    pane.subtitle = "example \u00b7 pid 1";
    pane.sections.push_back({"What it does", {std::string(500, 'w') + " and words to wrap"}});
    pane.cpu = {1, 2, 3};
    pane.memory = {1e6, 2e6};

    for (int mode = 0; mode < 7; ++mode) {
        ViewState state;
        state.rows.expanded.insert("proc:app1");
        state.rows.allProcesses = mode == 1;
        state.rows.tree = mode == 2;
        state.help = mode == 3;
        state.explain = mode == 4;
        state.editingFilter = mode == 5;
        state.rows.filter = mode == 5 ? "app" : "";
        state.minutesBack = mode == 6 ? 1 : 0;
        const auto rows = rowsFor(s.groups, state.rows, nullptr);
        if (mode == 5) {
            Row first = rows.front();
            state.selected = first.id;
            state.confirmation = confirmationFor(Action::quit, first, s.groups, 1000, nullptr);
        }
        Model model{&s, &rows, &trends, &moment, &pane, nullptr, s.date};
        for (size_t width : {1, 2, 5, 8, 12, 20, 33, 40, 56, 80, 120, 200, 1000})
            for (size_t height : {0, 1, 3, 5, 7, 12, 24, 50, 200}) {
                const Screen screen = screenFor(model, state, width, height);
                expectFits(screen, width, height,
                           std::to_string(mode) + ": " + std::to_string(width) + "x" + std::to_string(height));
            }
    }

    // 80x24: per-core bars, the memory parts, then the list to the last line but one.
    ViewState state;
    auto rows = rowsFor(s.groups, state.rows, nullptr);
    Model model{&s, &rows, &trends, nullptr, nullptr, nullptr, s.date};
    Screen screen = screenFor(model, state, 80, 24);
    ASSERT_EQ(screen.lines.size(), 24u);
    std::string all;
    for (const auto& line : screen.lines) all += lineText(line) + "\n";
    EXPECT_NE(all.find("7 ["), std::string::npos) << "the last core is labelled\n" << all;
    EXPECT_NE(all.find("# app 6.0 GB  = wired 2.0 GB"), std::string::npos) << all;
    ASSERT_NE(screen.geometry.headerY, SIZE_MAX);
    EXPECT_EQ(screen.geometry.listTop + screen.geometry.listHeight, 23u) << "the footer takes the last line";
    const std::string header = lineText(screen.lines[screen.geometry.headerY]);
    EXPECT_NE(header.find("\u25bcCPU"), std::string::npos) << header;
    EXPECT_EQ(lineText(screen.lines[screen.geometry.listTop]).rfind("\u25b8 app7 ", 0), 0u) << "the busiest first";
    EXPECT_EQ(screen.lines[screen.geometry.listTop].front().tone, Tone::selected);
    // Every list row as wide as the header, whatever its name held.
    for (size_t y = screen.geometry.listTop; y < screen.geometry.listTop + screen.geometry.listHeight; ++y)
        EXPECT_EQ(lineWidth(screen.lines[y]), lineWidth(screen.lines[screen.geometry.headerY]))
            << lineText(screen.lines[y]);

    // 200 columns: a command-line column; 40x12: the header collapses, the list stays.
    auto withCommand = [](int32_t pid) { return "/usr/bin/thing --pid " + std::to_string(pid); };
    Model wide{&s, &rows, &trends, nullptr, nullptr, withCommand, s.date};
    screen = screenFor(wide, state, 200, 50);
    EXPECT_NE(lineText(screen.lines[screen.geometry.headerY]).find("COMMAND"), std::string::npos);
    std::string commands;
    for (const auto& line : screen.lines) commands += lineText(line);
    EXPECT_NE(commands.find("/usr/bin/thing --pid "), std::string::npos) << "a process's own command line";
    EXPECT_EQ(lineWidth(screen.lines[screen.geometry.listTop]), 200u);
    screen = screenFor(model, state, 40, 12);
    EXPECT_LE(screen.geometry.headerY, 5u);
    EXPECT_GE(screen.geometry.listHeight, 5u);
    // 20x5: a title, the column header, rows and the footer; nothing wider.
    screen = screenFor(model, state, 20, 5);
    EXPECT_EQ(screen.lines.size(), 5u);

    // Wide characters take two cells; escape sequences and overrides become "?".
    EXPECT_EQ(cellWidth("\u6f22\u5b57"), 4u);
    EXPECT_EQ(fit("\u6f22\u5b57\u540d", 5), "\u6f22\u5b57\u2026");
    EXPECT_EQ(fit("a\x1b[2Jb", 6), "a?[2Jb");
    EXPECT_EQ(fit("r\u202eb", 3), "r?b");
}

TEST(LiveLayoutTest, TheFirstReadShowsProcessesAndMemoryButNoRateBeforeASecondRead) {
    qm::Fmt::setLocaleForTesting("en_US", "UTC");
    qm::Snapshot s = busyMachine(12);
    s.gpu = 30;
    s.network.rxRate = 5e6;
    ViewState state;
    const auto rows = rowsFor(s.groups, state.rows, nullptr);
    Model model{&s, &rows, nullptr, nullptr, nullptr, nullptr, s.date};
    model.firstRead = true;
    auto text = [&](size_t width, size_t height) {
        std::string all;
        for (const auto& line : screenFor(model, state, width, height).lines) all += lineText(line) + "\n";
        return all;
    };
    for (auto [width, height] : {std::pair<size_t, size_t>{120, 40}, {80, 24}, {40, 12}, {30, 7}}) {
        const std::string all = text(width, height);
        const std::string size = std::to_string(width) + "x" + std::to_string(height) + "\n" + all;
        // Pressure and the battery are one read each; every share and rate needs two.
        std::string shares = std::regex_replace(all, std::regex("(pressure|battery) [0-9]+%|% compressed"), "");
        EXPECT_EQ(shares.find('%'), std::string::npos) << size;
        EXPECT_EQ(all.find("MB/s"), std::string::npos) << size;
        EXPECT_EQ(all.find("GPU"), std::string::npos) << size;
        EXPECT_NE(all.find("\u2026"), std::string::npos) << "says the figure is coming\n" << size;
    }
    const std::string full = text(120, 40);
    EXPECT_NE(full.find("CPU      measuring\u2026  load"), std::string::npos) << full;
    EXPECT_TRUE(std::regex_search(full, std::regex("\n1 \\[ +\u2026\\] 3 \\[ +\u2026\\]")))
        << "the cores are labelled, their bars empty\n"
        << full;
    EXPECT_NE(full.find("in \u2026"), std::string::npos) << full;
    EXPECT_NE(full.find("# app 6.0 GB"), std::string::npos) << "memory is one read\n" << full;
    EXPECT_NE(full.find("app7 "), std::string::npos) << "the processes are listed\n" << full;
    EXPECT_NE(full.find("MB "), std::string::npos) << "with their memory\n" << full;

    model.firstRead = false;
    const std::string second = text(120, 40);
    EXPECT_NE(second.find("CPU      95%"), std::string::npos) << second;
    EXPECT_NE(second.find("in 4.8 MB/s"), std::string::npos) << second;
    EXPECT_NE(second.find("GPU 30%"), std::string::npos) << second;
}

TEST(LiveStateTest, KeysAndClicksSortFilterGroupAndTree) {
    qm::Snapshot s;
    s.groups.push_back(
        group("proc:sleep", "sleep", {process(200, "sleep", 1, 900), process(201, "sleep", 30, 100, 200)}));
    s.groups.push_back(group("app:/firefox.desktop", "Firefox",
                             {process(300, "firefox", 50, 5000), process(301, "Web Content", 5, 800, 300)}));
    s.groups.push_back(group("proc:bash", "bash", {process(400, "bash", 0, 10'000)}));
    ViewState state;
    Geometry geometry;
    geometry.listTop = 10;
    geometry.listHeight = 5;
    geometry.headerY = 9;
    geometry.headerCells = {{0, 20, SortColumn::name}, {20, 27, SortColumn::cpu}, {27, 37, SortColumn::memory}};
    const auto commandLine = [](int32_t pid) { return pid == 201 ? std::string("sleep 4242") : std::string(); };
    std::vector<Row> rows;
    auto press = [&](int code) {
        rows = rowsFor(s.groups, state.rows, commandLine);
        state.settle(rows, geometry.listHeight);
        const Context context{rows, s.groups, geometry, 1000, commandLine};
        const Request request = handle(state, Input{Input::Kind::key, code}, context);
        rows = rowsFor(s.groups, state.rows, commandLine);
        state.settle(rows, geometry.listHeight);
        return request;
    };
    auto names = [&] {
        std::string out;
        for (const Row& r : rows)
            out += r.prefix + r.name + (r.pid && r.count == 1 ? "/" + std::to_string(*r.pid) : "") + " ";
        return out;
    };

    press(0);
    EXPECT_EQ(names(), "Firefox sleep bash/400 ");  // CPU, busiest first
    press(key::down);
    EXPECT_EQ(state.selected, "proc:sleep");
    EXPECT_EQ(press('M'), Request::settings);
    EXPECT_EQ(names(), "bash/400 Firefox sleep ");
    EXPECT_EQ(state.selected, "proc:sleep") << "the selection follows its row";
    press('M');
    EXPECT_EQ(names(), "sleep Firefox bash/400 ") << "the same key again reverses";
    press('N');
    EXPECT_EQ(names(), "bash/400 Firefox sleep ") << "names ignore case, A to Z";
    // A click on the CPU heading sorts by CPU.
    rows = rowsFor(s.groups, state.rows, commandLine);
    handle(state, Input{Input::Kind::click, 0, 22, 9}, Context{rows, s.groups, geometry, 1000, commandLine});
    EXPECT_EQ(state.rows.sort, SortColumn::cpu);

    // Enter opens the group; its processes follow, sorted the same way.
    press(key::enter);
    EXPECT_EQ(names(), "Firefox sleep ├─ sleep/201 └─ sleep/200 bash/400 ");
    press(key::down);
    EXPECT_EQ(state.selected, "pid:201");
    press(key::left);
    EXPECT_EQ(state.selected, "proc:sleep") << "left goes back to the group and closes it";
    EXPECT_EQ(names(), "Firefox sleep bash/400 ");

    // The filter: by name, by PID, by command line; Esc clears it.
    press('/');
    for (char c : std::string("4242")) press(c);
    EXPECT_EQ(names(), "sleep ");
    press(key::enter);
    EXPECT_FALSE(state.editingFilter);
    press(key::enter);  // opens the group: only the member that matched
    EXPECT_EQ(names(), "sleep └─ sleep/201 ");
    press(key::escape);
    EXPECT_EQ(state.rows.filter, "");
    press('/');
    for (char c : std::string("30")) press(c);
    EXPECT_EQ(names(), "Firefox ") << "a PID's start, not any digits of it";
    press(key::escape);

    // Every process, then the tree: children under their parents.
    press('a');
    EXPECT_EQ(rows.size(), 5u);
    press('t');
    EXPECT_EQ(names(), "firefox/300 └─ Web Content/301 sleep/200 └─ sleep/201 bash/400 ");
    press(key::home);
    press(key::left);
    EXPECT_EQ(names(), "firefox/300 sleep/200 └─ sleep/201 bash/400 ") << "left folds a branch";
    press('a');
    EXPECT_FALSE(state.rows.tree || state.rows.allProcesses) << "a from the tree goes back to apps";

    // Period steps, pause, help, history: each key says what the session must do.
    EXPECT_EQ(press('+'), Request::period);
    EXPECT_EQ(state.period, 3);
    EXPECT_EQ(press('-'), Request::period);
    EXPECT_EQ(press('-'), Request::period);
    EXPECT_EQ(state.period, 1);
    EXPECT_EQ(press('['), Request::history);
    EXPECT_EQ(state.minutesBack, 1);
    EXPECT_EQ(press(key::escape), Request::history);
    EXPECT_EQ(state.minutesBack, 0);
    press('?');
    EXPECT_TRUE(state.help);
    EXPECT_EQ(press('x'), Request::none);
    EXPECT_FALSE(state.help);
    EXPECT_EQ(press('q'), Request::quit);
}

TEST(LiveStateTest, AQuitAimsAtWhatWasChosenAndNeverAtANamesakeUnasked) {
    qm::Snapshot s;
    auto others = process(202, "sleep", 90, 100);
    others.uid = 0;
    s.groups.push_back(
        group("proc:sleep", "sleep", {process(200, "sleep", 1, 900), process(201, "sleep", 30, 100), others}));
    s.groups.push_back(group("app:/firefox.desktop", "Firefox",
                             {process(300, "firefox", 50, 5000), process(301, "Web Content", 5, 800, 300)}));
    auto rows = rowsFor(s.groups, {}, nullptr);
    ASSERT_EQ(rows.size(), 2u);
    const Row& sleeps = rows[0];  // 91 %, the busiest
    ASSERT_EQ(sleeps.id, "proc:sleep");

    // Namesakes: all listed, only the user's busiest chosen; another user's never.
    s.groups[0].processes[1].startTime = 1'700'000'000'000'201;
    Confirmation c = confirmationFor(Action::quit, sleeps, s.groups, 1000, nullptr);
    ASSERT_EQ(c.targets.size(), 3u);
    EXPECT_EQ(c.targets[0].pid, 202);
    EXPECT_EQ(c.targets[1].startTime, 1'700'000'000'000'201u);  // the lifetime shown, checked before sending
    EXPECT_FALSE(c.targets[0].own);
    EXPECT_EQ(c.chosen, (std::vector<bool>{false, true, false}));
    // An app's group ends whole; a process row is that process alone.
    c = confirmationFor(Action::forceQuit, rows[1], s.groups, 1000, nullptr);
    EXPECT_EQ(c.chosen, (std::vector<bool>{true, true}));
    RowOptions open;
    open.expanded.insert("proc:sleep");
    rows = rowsFor(s.groups, open, nullptr);
    const auto member = std::find_if(rows.begin(), rows.end(), [](const Row& r) { return r.id == "pid:200"; });
    ASSERT_NE(member, rows.end());
    c = confirmationFor(Action::quit, *member, s.groups, 1000, nullptr);
    ASSERT_EQ(c.targets.size(), 1u);
    EXPECT_EQ(c.targets[0].pid, 200);

    // In the dialog: space toggles, a takes all of the user's, Esc sends nothing.
    ViewState state;
    state.selected = "proc:sleep";
    Geometry geometry;
    const Context context{rows, s.groups, geometry, 1000, nullptr};
    EXPECT_EQ(handle(state, Input{Input::Kind::key, 'k'}, context), Request::prepareAction);
    ASSERT_TRUE(state.confirmation);
    handle(state, Input{Input::Kind::key, 'a'}, context);
    EXPECT_EQ(state.confirmation->chosen, (std::vector<bool>{false, true, true}));
    handle(state, Input{Input::Kind::key, ' '}, context);  // the cursor is on the busiest of the user's
    EXPECT_EQ(state.confirmation->chosen, (std::vector<bool>{false, false, true}));
    EXPECT_EQ(handle(state, Input{Input::Kind::key, key::enter}, context), Request::act);
    EXPECT_EQ(handle(state, Input{Input::Kind::key, key::escape}, context), Request::none);
    EXPECT_FALSE(state.confirmation);
    EXPECT_EQ(state.message, "Nothing was sent.");
}

// The program on a pseudo-terminal of the given size, with extra environment.
class TerminalRun {
public:
    TerminalRun(const std::vector<std::string>& environment, unsigned short columns, unsigned short rows,
                const std::vector<std::string>& arguments = {"sample", "--interval", "1"}) {
        winsize size{};
        size.ws_col = columns;
        size.ws_row = rows;
        pid_ = ::forkpty(&master_, nullptr, nullptr, &size);
        if (pid_ == 0) {
            for (const auto& setting : environment) ::putenv(const_cast<char*>(setting.c_str()));
            std::vector<char*> argv{const_cast<char*>(QM_BINARY)};
            for (const auto& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
            argv.push_back(nullptr);
            ::execv(QM_BINARY, argv.data());
            ::_exit(127);
        }
    }
    ~TerminalRun() {
        if (pid_ > 0 && !exited_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        if (master_ >= 0) ::close(master_);
    }
    TerminalRun(const TerminalRun&) = delete;
    TerminalRun& operator=(const TerminalRun&) = delete;

    // Reads what the program writes until `text` shows up after `from` or ten seconds pass.
    bool readUntil(const std::string& text, size_t from = 0) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (output.find(text, from) == std::string::npos && std::chrono::steady_clock::now() < end)
            if (!readSome()) break;
        return output.find(text, from) != std::string::npos;
    }
    // Types keys and gives the view a moment to answer; returns where its answer starts.
    size_t type(const std::string& keys) {
        const size_t from = output.size();
        (void)!::write(master_, keys.data(), keys.size());
        return from;
    }
    // The exit code, or -1 when the program did not end within ten seconds.
    int exitCode() {
        for (int i = 0; i < 100; ++i) {
            int status = 0;
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                exited_ = true;
                while (readSome()) {
                }
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            if (!readSome()) std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return -1;
    }

    std::string output;

private:
    // Waits up to 100 ms for output and keeps it; false once the terminal is closed
    // or nothing came.
    bool readSome() {
        pollfd fd{master_, POLLIN, 0};
        if (::poll(&fd, 1, 100) <= 0) return !exited_;
        char buffer[4096];
        const ssize_t n = ::read(master_, buffer, sizeof buffer);
        if (n <= 0) return false;
        output.append(buffer, static_cast<size_t>(n));
        return true;
    }

    pid_t pid_ = -1;
    int master_ = -1;
    bool exited_ = false;
};

class Scratch {
public:
    Scratch() {
        std::string pattern = (std::filesystem::temp_directory_path() / "qm-top-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

pid_t startSleep(const std::string& program, const char* seconds) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::setpgid(0, 0);
        ::execl(program.c_str(), "sleep", seconds, static_cast<char*>(nullptr));
        ::_exit(127);
    }
    return child;
}

bool exitedWithin(pid_t pid, std::chrono::seconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
        if (::waitpid(pid, nullptr, WNOHANG) == pid) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

// A history with one busy app in each of the last few minutes, as a recorder writes it.
void recordHistory(const std::string& db) {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(db.c_str(), &handle), SQLITE_OK);
    std::string sql =
        "CREATE TABLE sys(ts INTEGER PRIMARY KEY, cpu REAL, mem_used REAL, mem_total REAL, pressure REAL, plevel "
        "INTEGER, swap REAL, gpu REAL, power REAL, soc_temp REAL, net_rx REAL, net_tx REAL, disk_r REAL, disk_w REAL, "
        "battery REAL, on_battery INTEGER, thermal INTEGER);"
        "CREATE TABLE app(ts INTEGER, key TEXT, name TEXT, cpu REAL, mem REAL, energy REAL, disk_w REAL, "
        "PRIMARY KEY(ts, key)) WITHOUT ROWID;"
        "CREATE TABLE event(id INTEGER PRIMARY KEY AUTOINCREMENT, ts INTEGER, kind TEXT, severity INTEGER, title "
        "TEXT, detail TEXT, app_key TEXT, app_name TEXT);";
    const int64_t now = static_cast<int64_t>(::time(nullptr)) / 60 * 60;
    for (int64_t back = 0; back <= 3; ++back) {
        const std::string ts = std::to_string(now - 60 * back);
        sql += "INSERT INTO sys(ts, cpu, mem_used, mem_total, on_battery) VALUES(" + ts + ", 42, 1e9, 4e9, 0);";
        sql += "INSERT INTO app VALUES(" + ts + ", 'proc:BusiestThen', 'BusiestThen', 88, 2e8, 0, 0);";
    }
    EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(handle);
}

// The program in a tmux window: tmux is the terminal, so the test reads the screen a
// person would see, whatever order ncurses painted it in.
class TmuxRun {
public:
    TmuxRun(const std::string& socket, const std::string& command, int columns, int rows) : socket_(socket) {
        tmux("new-session -d -s view -x " + std::to_string(columns) + " -y " + std::to_string(rows) + " '" + command +
             "; echo EXIT=$?; sleep 60'");
    }
    ~TmuxRun() { tmux("kill-server"); }
    TmuxRun(const TmuxRun&) = delete;
    TmuxRun& operator=(const TmuxRun&) = delete;

    void keys(const std::string& literal) { tmux("send-keys -t view -l '" + literal + "'"); }
    void key(const std::string& name) { tmux("send-keys -t view " + name); }
    void resize(int columns, int rows) {
        tmux("resize-window -t view -x " + std::to_string(columns) + " -y " + std::to_string(rows));
    }
    std::string screen() {
        std::string out;
        FILE* pipe = ::popen(("tmux -S " + socket_ + " capture-pane -p -t view 2>/dev/null").c_str(), "r");
        if (!pipe) return out;
        char buffer[4096];
        while (size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) out.append(buffer, n);
        ::pclose(pipe);
        return out;
    }
    // Waits up to ten seconds for `text` on the screen.
    bool shows(const std::string& text) {
        for (int i = 0; i < 100; ++i) {
            if (screen().find(text) != std::string::npos) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }

private:
    void tmux(const std::string& arguments) {
        (void)!std::system(("tmux -S " + socket_ + " " + arguments + " >/dev/null 2>&1").c_str());
    }
    std::string socket_;
};

TEST(LiveViewTest, APersonSortsFiltersExplainsQuitsOneNamesakeStepsBackAndResizes) {
    if (std::system("command -v tmux >/dev/null") != 0) GTEST_SKIP() << "needs tmux";
    Scratch dir;
    recordHistory(dir.file("history.sqlite"));
    // Two namesakes of a name nobody else runs, so the filter finds only these.
    const std::string program = dir.file("qmnamesake");
    std::filesystem::copy_file("/bin/sleep", program);
    const pid_t first = startSleep(program, "120");
    const pid_t second = startSleep(program, "120");
    ASSERT_GT(first, 0);
    ASSERT_GT(second, 0);

    TmuxRun run(dir.file("tmux"),
                "env XDG_CONFIG_HOME=" + dir.file("config") + " QUILLMERE_DB=" + dir.file("history.sqlite") + " " +
                    QM_BINARY + " top",
                120, 40);
    ASSERT_TRUE(run.shows("MEMORY")) << run.screen();
    run.keys("M");
    EXPECT_TRUE(run.shows("\u25bcMEMORY")) << run.screen();
    run.keys("/sleep");
    EXPECT_TRUE(run.shows("Filter: sleep")) << run.screen();
    run.key("Enter");
    EXPECT_TRUE(run.shows("Filter \"sleep\"")) << run.screen();
    // Narrow it to the namesakes, open their group and explain one of them.
    run.keys("/");
    run.key("BSpace BSpace BSpace BSpace BSpace");
    run.keys("qmnamesake");
    run.key("Enter");
    EXPECT_TRUE(run.shows("\u00d72")) << "one group of two\n" << run.screen();
    run.key("Enter");
    EXPECT_TRUE(run.shows("\u2514\u2500 qmnamesake")) << "the group opened\n" << run.screen();
    run.keys("je");
    EXPECT_TRUE(run.shows("Made by")) << run.screen();
    EXPECT_TRUE(run.shows("sleep 120")) << "its command line\n" << run.screen();
    run.key("Escape");

    // Quit the first namesake only: every process, filtered by its PID, confirmed.
    run.keys("/");
    run.key("BSpace BSpace BSpace BSpace BSpace BSpace BSpace BSpace BSpace BSpace");
    run.keys(std::to_string(first));
    run.key("Enter");
    run.keys("a");
    EXPECT_TRUE(run.shows("PROCESS")) << run.screen();
    run.keys("k");
    ASSERT_TRUE(run.shows("Quit qmnamesake?")) << run.screen();
    ASSERT_TRUE(run.shows("[x]")) << run.screen();
    ASSERT_TRUE(run.shows(std::to_string(first) + "  qmnamesake")) << run.screen();
    EXPECT_FALSE(exitedWithin(first, std::chrono::seconds(0))) << "nothing is sent before the confirmation";
    run.key("Enter");
    EXPECT_TRUE(run.shows("Asked 1 process to quit")) << run.screen();
    EXPECT_TRUE(exitedWithin(first, std::chrono::seconds(5)));
    EXPECT_FALSE(exitedWithin(second, std::chrono::seconds(1))) << "the namesake was left alone";
    run.keys("a");
    run.key("Escape");

    // A minute back in the recorded history, and back to live.
    run.keys("[");
    EXPECT_TRUE(run.shows("BusiestThen")) << run.screen();
    run.key("Escape");
    EXPECT_TRUE(run.shows("\u25bcMEMORY")) << run.screen();

    // Shrinks to 40x12 and to 20x5 with the help open, then leaves.
    run.resize(40, 12);
    EXPECT_TRUE(run.shows("CPU")) << run.screen();
    run.keys("?");
    run.resize(20, 5);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    run.resize(80, 24);
    EXPECT_TRUE(run.shows("Any key closes")) << run.screen();
    run.keys("q");
    EXPECT_TRUE(run.shows("EXIT=0")) << run.screen();

    ::kill(second, SIGKILL);
    ::waitpid(second, nullptr, 0);
}

TEST(LiveViewTest, NoColorMeansNoColourAndATerminalThatCannotRedrawGetsPlainSnapshots) {
    // A foreground colour in any SGR sequence: 30-38 ("\e[36m", "\e[0;38;5;6m").
    const std::regex colourCode("\x1b\\[([0-9]+;)*3[0-8](;[0-9]+)*m");
    {
        TerminalRun run({"TERM=xterm-256color", "NO_COLOR=1"}, 20, 10);
        ASSERT_TRUE(run.readUntil("APP")) << run.output;
        run.type("\x03");  // Ctrl+C
        EXPECT_EQ(run.exitCode(), 0) << run.output;
        EXPECT_FALSE(std::regex_search(run.output, colourCode)) << "a colour was set";
        EXPECT_EQ(run.output.find("MEMORY"), std::string::npos) << "20 columns have no room for memory";
        EXPECT_NE(run.output.find("\x1b[?1049h"), std::string::npos) << "the alternate screen was not used";
        EXPECT_NE(run.output.find("\x1b[?1049l"), std::string::npos) << "the terminal was not given back";
    }
    for (const char* term : {"TERM=dumb", "TERM=no-such-terminal-anywhere"}) {
        TerminalRun run({term}, 80, 24, {"top"});
        ASSERT_TRUE(run.readUntil("Busiest")) << term << ": " << run.output;
        EXPECT_EQ(run.output.find('\x1b'), std::string::npos) << term << ": " << run.output;
        const size_t message = run.output.find("printing one snapshot after another");
        EXPECT_NE(message, std::string::npos) << term << ": " << run.output;
        EXPECT_EQ(run.output.find("printing one", message + 1), std::string::npos) << "one message at most";
    }
}

}  // namespace
