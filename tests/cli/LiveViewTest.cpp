// The live view of `sample`: its layout at the widths people really have (a 20-column
// split, 80, a 200-column monitor) and degenerate ones, and the real program on a
// pseudo-terminal: q quits and gives the terminal back, NO_COLOR means no colour,
// and a terminal that cannot redraw gets plain lines with one message.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
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
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "cli/LiveLayout.h"
#include "core/Utf8.h"
#include "fmt/Fmt.h"

namespace {

using qm::cli::live::columnsFor;
using qm::cli::live::lineText;
using qm::cli::live::lineWidth;
using qm::cli::live::screenFor;
using qm::cli::live::Tone;

qm::Snapshot busyMachine(size_t groups) {
    qm::Snapshot s;
    s.date = 1'800'000'000;
    s.interval = 5;
    s.uptime = 90'000;
    s.processCount = 400;
    s.cpu.total = 95;
    s.cpu.user = 70;
    s.cpu.system = 25;
    s.memory.total = 16ull << 30;
    s.memory.app = 6ull << 30;
    s.memory.pressure = 80;
    s.memory.pressureLevel = qm::PressureLevel::critical;
    s.systemPower = 14.5;
    s.battery.present = true;
    s.battery.percent = 64;
    s.battery.minutesRemaining = 95;
    for (size_t i = 0; i < groups; ++i) {
        qm::AppGroup g;
        g.id = "proc:app" + std::to_string(i);
        // Names of every length: one with a control character, one far too long, one
        // with bytes that are not UTF-8 (a terminal would draw them as escape notation).
        g.name = i == 3   ? "evil\x1b[2Jname"
                 : i == 4 ? std::string(300, 'x')
                 : i == 5 ? "bad\xff\xfename"
                          : "app" + std::to_string(i);
        g.cpu = i == 7 ? 75 : static_cast<double>(i * 7 % 50);  // not in order: the layout sorts
        g.memory = (i + 1) * 10'000'000;
        g.processes.resize(i % 3 == 0 ? 1 : 4);
        g.processes.front().pid = static_cast<int32_t>(1000 + i);
        s.groups.push_back(g);
    }
    return s;
}

TEST(LiveLayoutTest, EveryScreenFitsItsTerminalAndDropsColumnsInsteadOfWrapping) {
    qm::Fmt::setLocaleForTesting("en_US", "UTC");
    const qm::Snapshot s = busyMachine(60);
    for (size_t width : {1, 2, 5, 8, 12, 20, 33, 40, 56, 80, 120, 200, 1000})
        for (size_t height : {0, 1, 3, 7, 8, 24, 60, 200}) {
            const auto lines = screenFor(s, width, height);
            EXPECT_LE(lines.size(), height) << width << "x" << height;
            for (const auto& line : lines) {
                EXPECT_LE(lineWidth(line), width) << width << "x" << height << ": " << lineText(line);
                EXPECT_EQ(lineText(line).find('\x1b'), std::string::npos) << lineText(line);
                EXPECT_EQ(lineText(line).find('\n'), std::string::npos);
                EXPECT_TRUE(qm::isValidUtf8(lineText(line))) << lineText(line);
            }
        }

    // 80x24: the summary, a blank line, the header, then the busiest apps fill the rest.
    auto lines = screenFor(s, 80, 24);
    ASSERT_EQ(lines.size(), 24u);
    const std::string header = lineText(lines[6]);
    for (const char* column : {"APP", "PID", "CPU", "MEMORY", "POWER", "DISK"})
        EXPECT_NE(header.find(column), std::string::npos) << header;
    EXPECT_EQ(lines[6].front().tone, Tone::header);
    EXPECT_NE(lineText(lines[7]).find("app7 "), std::string::npos);  // 75 %, the busiest
    // Right-aligned figures end in one column on every row: name, PID, then CPU.
    auto widthThroughCPU = [](const qm::cli::live::Line& line) {
        return lineWidth(qm::cli::live::Line(line.begin(), line.begin() + 3));
    };
    for (size_t i = 7; i < lines.size(); ++i) {
        ASSERT_EQ(lines[i].size(), lines[6].size()) << lineText(lines[i]);
        EXPECT_EQ(widthThroughCPU(lines[i]), widthThroughCPU(lines[6])) << lineText(lines[i]);
        EXPECT_EQ(lines[i][2].text.back(), '%') << lineText(lines[i]);
    }
    // A longer terminal shows more apps; a short one still shows the summary first.
    EXPECT_EQ(screenFor(s, 80, 60).size(), 60u);
    EXPECT_NE(lineText(screenFor(s, 80, 3)[1]).find("CPU"), std::string::npos);

    // 20 columns: the name and CPU only, and the summary keeps its first facts whole.
    const auto narrow = columnsFor(20);
    EXPECT_FALSE(narrow.pid || narrow.memory || narrow.power || narrow.disk);
    EXPECT_GE(narrow.name, qm::cli::live::Columns::minimumName);
    lines = screenFor(s, 20, 24);
    EXPECT_NE(lineText(lines[1]).find("95%"), std::string::npos) << lineText(lines[1]);
    EXPECT_EQ(lineText(lines[1]).find("user"), std::string::npos) << "a fact that does not fit is left out";

    // 200 columns: every column, and a name column that does not run away.
    const auto wide = columnsFor(200);
    EXPECT_TRUE(wide.pid && wide.memory && wide.power && wide.disk);
    EXPECT_LE(wide.name, 48u);
    bool cutName = false;
    for (const auto& line : screenFor(s, 200, 100))
        cutName = cutName || lineText(line).find("xxx\u2026") != std::string::npos;
    EXPECT_TRUE(cutName);
}

TEST(LiveLayoutTest, TonesMarkWhatNeedsAttentionAndColourFollowsTheTerminalAndNoColor) {
    qm::Snapshot s = busyMachine(3);
    auto lines = screenFor(s, 80, 24);
    auto toneOf = [](const qm::cli::live::Line& line, const std::string& text) {
        for (const auto& span : line)
            if (span.text.find(text) != std::string::npos) return span.tone;
        return Tone::plain;
    };
    EXPECT_EQ(toneOf(lines[1], "95%"), Tone::critical);
    EXPECT_EQ(toneOf(lines[2], "pressure"), Tone::critical);
    s.cpu.total = 12;
    s.memory.pressureLevel = qm::PressureLevel::normal;
    lines = screenFor(s, 80, 24);
    EXPECT_EQ(toneOf(lines[1], "12%"), Tone::plain);
    EXPECT_EQ(toneOf(lines[2], "pressure"), Tone::plain);

    using qm::cli::live::colourWanted;
    EXPECT_TRUE(colourWanted(true, nullptr));
    EXPECT_TRUE(colourWanted(true, ""));  // NO_COLOR set but empty does not count
    EXPECT_FALSE(colourWanted(true, "1"));
    EXPECT_FALSE(colourWanted(false, nullptr));

    using qm::cli::live::termCanRedraw;
    EXPECT_FALSE(termCanRedraw(nullptr));
    EXPECT_FALSE(termCanRedraw(""));
    EXPECT_FALSE(termCanRedraw("dumb"));
    EXPECT_TRUE(termCanRedraw("xterm-256color"));
}

// The program on a pseudo-terminal of the given size, with extra environment.
class TerminalRun {
public:
    TerminalRun(const std::vector<std::string>& environment, unsigned short columns, unsigned short rows) {
        winsize size{};
        size.ws_col = columns;
        size.ws_row = rows;
        pid_ = ::forkpty(&master_, nullptr, nullptr, &size);
        if (pid_ == 0) {
            for (const auto& setting : environment) ::putenv(const_cast<char*>(setting.c_str()));
            ::execl(QM_BINARY, QM_BINARY, "sample", "--interval", "1", static_cast<char*>(nullptr));
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

    // Reads what the program wrote until `text` shows up or ten seconds pass.
    bool readUntil(const std::string& text) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (output.find(text) == std::string::npos && std::chrono::steady_clock::now() < end)
            if (!readSome()) break;
        return output.find(text) != std::string::npos;
    }
    void type(const std::string& keys) { (void)!::write(master_, keys.data(), keys.size()); }
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

TEST(LiveViewTest, OnATerminalItDrawsTheTableAndQuitsOnQGivingTheTerminalBack) {
    // A foreground colour in any SGR sequence: 30-38 ("\e[36m", "\e[0;38;5;6m").
    const std::regex colourCode("\x1b\\[([0-9]+;)*3[0-8](;[0-9]+)*m");
    {
        TerminalRun run({"TERM=xterm-256color", "NO_COLOR="}, 80, 24);
        ASSERT_TRUE(run.readUntil("MEMORY")) << run.output;
        run.type("q");
        EXPECT_EQ(run.exitCode(), 0) << run.output;
        EXPECT_NE(run.output.find("\x1b[?1049h"), std::string::npos) << "the alternate screen was not used";
        EXPECT_NE(run.output.find("\x1b[?1049l"), std::string::npos) << "the terminal was not given back";
        EXPECT_TRUE(std::regex_search(run.output, colourCode)) << "labels are coloured on a colour terminal";
    }
    {
        // NO_COLOR: the same view without a single colour; 20 columns drop columns.
        TerminalRun run({"TERM=xterm-256color", "NO_COLOR=1"}, 20, 10);
        ASSERT_TRUE(run.readUntil("APP")) << run.output;
        run.type("\x03");  // Ctrl+C
        EXPECT_EQ(run.exitCode(), 0) << run.output;
        EXPECT_FALSE(std::regex_search(run.output, colourCode)) << "a colour was set";
        EXPECT_EQ(run.output.find("MEMORY"), std::string::npos) << "20 columns have no room for memory";
    }
}

TEST(LiveViewTest, ATerminalThatCannotRedrawGetsPlainSnapshotsAndOneMessage) {
    for (const char* term : {"TERM=dumb", "TERM=no-such-terminal-anywhere"}) {
        TerminalRun run({term}, 80, 24);
        ASSERT_TRUE(run.readUntil("Busiest")) << term << ": " << run.output;
        EXPECT_EQ(run.output.find('\x1b'), std::string::npos) << term << ": " << run.output;
        const size_t message = run.output.find("printing one snapshot after another");
        EXPECT_NE(message, std::string::npos) << term << ": " << run.output;
        EXPECT_EQ(run.output.find("printing one", message + 1), std::string::npos) << "one message at most";
    }
}

}  // namespace
