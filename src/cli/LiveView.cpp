// The only file that speaks ncurses: it paints LiveLayout's lines and reads keys.
// ncurses's function-like macros (move, erase, timeout) would clash with the
// standard library, so they are off and this file builds outside the unity batch.
#define NCURSES_NOMACROS
#define NCURSES_WIDECHAR 1  // wget_wch and the wide-character calls
#include "cli/LiveView.h"

#include <curses.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdlib>

namespace qm::cli {

namespace {

// Signals and other threads reach the waiting loop through this pipe: one byte each,
// 'w' wake, 'r' resize, 's' stop. Writing to a pipe is safe in a signal handler.
// Atomic: the sampler's and the history's threads wake the view too.
std::atomic<int> wakeWrite{-1};
static_assert(std::atomic<int>::is_always_lock_free, "read in a signal handler");

extern "C" void onStop(int /*signal*/) {
    const int saved = errno;
    (void)!::write(wakeWrite.load(), "s", 1);
    errno = saved;
}

extern "C" void onResize(int /*signal*/) {
    const int saved = errno;
    (void)!::write(wakeWrite.load(), "r", 1);
    errno = saved;
}

enum Pair : short { warningPair = 1, criticalPair, labelPair, goodPair, partAPair, partBPair, partCPair, partDPair };

int attributes(live::Tone tone, bool colour) {
    auto pair = [&](short p) { return colour ? static_cast<int>(COLOR_PAIR(p)) : A_NORMAL; };
    switch (tone) {
        case live::Tone::plain: return A_NORMAL;
        case live::Tone::heading: return A_BOLD;
        case live::Tone::header:
        case live::Tone::selected: return A_REVERSE;
        case live::Tone::label: return pair(labelPair);
        case live::Tone::dim: return colour ? A_DIM : A_NORMAL;
        case live::Tone::warning: return pair(warningPair);
        case live::Tone::critical: return colour ? static_cast<int>(COLOR_PAIR(criticalPair) | A_BOLD) : A_BOLD;
        case live::Tone::good: return pair(goodPair);
        case live::Tone::partA: return pair(partAPair);
        case live::Tone::partB: return pair(partBPair);
        case live::Tone::partC: return pair(partCPair);
        case live::Tone::partD: return pair(partDPair);
    }
    return A_NORMAL;
}

int translate(wint_t key, bool isKeyCode) {
    if (!isKeyCode) {
        switch (key) {
            case '\n':
            case '\r': return live::key::enter;
            case 27: return live::key::escape;
            case 127:
            case 8: return live::key::backspace;
            default: return static_cast<int>(key);
        }
    }
    switch (key) {
        case KEY_UP: return live::key::up;
        case KEY_DOWN: return live::key::down;
        case KEY_LEFT: return live::key::left;
        case KEY_RIGHT: return live::key::right;
        case KEY_PPAGE: return live::key::pageUp;
        case KEY_NPAGE: return live::key::pageDown;
        case KEY_HOME: return live::key::home;
        case KEY_END: return live::key::end;
        case KEY_ENTER: return live::key::enter;
        case KEY_BACKSPACE: return live::key::backspace;
        default: break;
    }
    if (key == static_cast<wint_t>(KEY_F(1))) return live::key::f1;
    if (key == static_cast<wint_t>(KEY_F(7))) return live::key::f7;
    if (key == static_cast<wint_t>(KEY_F(8))) return live::key::f8;
    if (key == static_cast<wint_t>(KEY_F(9))) return live::key::f9;
    if (key == static_cast<wint_t>(KEY_F(10))) return live::key::f10;
    return 0;
}

}  // namespace

struct LiveView::Terminal {
    SCREEN* screen = nullptr;
    bool colour = false;
    int pipe[2] = {-1, -1};
    static constexpr int stopSignals[3] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction previous[4] = {};

    ~Terminal() {
        if (screen != nullptr) {
            ::mousemask(0, nullptr);
            ::endwin();
            ::delscreen(screen);
        }
        for (size_t i = 0; i < 3; ++i) ::sigaction(stopSignals[i], &previous[i], nullptr);
        ::sigaction(SIGWINCH, &previous[3], nullptr);
        wakeWrite = -1;
        for (int fd : pipe)
            if (fd >= 0) ::close(fd);
    }

    void resize() {
        winsize size{};
        if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0)
            ::resizeterm(size.ws_row, size.ws_col);
    }
};

std::unique_ptr<LiveView> LiveView::open(std::string& why) {
    const char* term = std::getenv("TERM");
    if (!live::termCanRedraw(term)) {
        why = term && *term ? "this terminal (TERM=" + std::string(term) + ") cannot redraw in place"
                            : "TERM is not set, so the terminal cannot redraw in place";
        return nullptr;
    }
    auto terminal = std::make_unique<Terminal>();
    if (::pipe2(terminal->pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        why = "no pipe for the view's wake-ups";
        return nullptr;
    }
    wakeWrite = terminal->pipe[1];

    std::setlocale(LC_CTYPE, "");  // names and figures are UTF-8 ("≈", "—", "▁")
    // An unknown TERM has no description to work from; one without cursor movement
    // cannot redraw in place. Either way the caller prints plain lines instead.
    terminal->screen = ::newterm(nullptr, stdout, stdin);
    if (terminal->screen == nullptr) {
        why = "this terminal (TERM=" + std::string(term) + ") is not known here";
        return nullptr;
    }
    const char* cursor = ::tigetstr("cup");
    if (cursor == nullptr || reinterpret_cast<std::intptr_t>(cursor) == -1) {  // -1: not a string capability
        why = "this terminal (TERM=" + std::string(term) + ") cannot move the cursor";
        return nullptr;  // the Terminal gives the screen back
    }
    // The handlers come after newterm, so they replace ncurses's own: the resize
    // reaches the loop through the pipe rather than at the next read.
    struct sigaction stop {};
    stop.sa_handler = onStop;
    sigemptyset(&stop.sa_mask);
    for (size_t i = 0; i < 3; ++i) ::sigaction(Terminal::stopSignals[i], &stop, &terminal->previous[i]);
    struct sigaction resize {};
    resize.sa_handler = onResize;
    sigemptyset(&resize.sa_mask);
    resize.sa_flags = SA_RESTART;
    ::sigaction(SIGWINCH, &resize, &terminal->previous[3]);

    ::cbreak();
    ::noecho();
    ::keypad(stdscr, TRUE);
    ::nodelay(stdscr, TRUE);
    ::set_escdelay(25);  // Esc alone, not the start of an arrow key, after 25 ms
    ::curs_set(0);
    ::mouseinterval(0);  // a press is reported at once, not after a click's wait
    terminal->colour = live::colourWanted(::isatty(STDOUT_FILENO) != 0, std::getenv("NO_COLOR")) && ::has_colors();
    if (terminal->colour) {
        ::start_color();
        ::use_default_colors();
        ::init_pair(warningPair, COLOR_YELLOW, -1);
        ::init_pair(criticalPair, COLOR_RED, -1);
        ::init_pair(labelPair, COLOR_CYAN, -1);
        ::init_pair(goodPair, COLOR_GREEN, -1);
        ::init_pair(partAPair, COLOR_GREEN, -1);
        ::init_pair(partBPair, COLOR_RED, -1);
        ::init_pair(partCPair, COLOR_MAGENTA, -1);
        ::init_pair(partDPair, COLOR_YELLOW, -1);
    }
    return std::unique_ptr<LiveView>(new LiveView(std::move(terminal)));
}

LiveView::LiveView(std::unique_ptr<Terminal> terminal) : terminal_(std::move(terminal)) {}

LiveView::~LiveView() = default;

size_t LiveView::width() const { return static_cast<size_t>(std::max(COLS, 0)); }
size_t LiveView::height() const { return static_cast<size_t>(std::max(LINES, 0)); }

void LiveView::setMouse(bool on) {
    ::mousemask(on ? (BUTTON1_PRESSED | BUTTON4_PRESSED | BUTTON5_PRESSED) : 0, nullptr);
}

void LiveView::paint(const std::vector<live::Line>& lines, bool monochrome) {
    const bool colour = terminal_->colour && !monochrome;
    const size_t h = height();
    ::erase();
    for (size_t y = 0; y < lines.size() && y < h; ++y) {
        ::move(static_cast<int>(y), 0);
        for (const live::Span& span : lines[y]) {
            ::attrset(attributes(span.tone, colour));
            ::addstr(span.text.c_str());
            // Text wider than it counted stops at the edge instead of wrapping.
            if (::getcury(stdscr) != static_cast<int>(y)) break;
        }
    }
    ::attrset(A_NORMAL);
    ::refresh();
}

LiveView::Happened LiveView::wait(int milliseconds) {
    Happened happened;
    pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {terminal_->pipe[0], POLLIN, 0}};
    const int ready = ::poll(fds, 2, milliseconds);
    if (ready < 0) return happened;  // a signal: its byte is in the pipe for the next wait
    if (fds[1].revents & POLLIN) {
        char bytes[64];
        ssize_t n = 0;
        while ((n = ::read(terminal_->pipe[0], bytes, sizeof bytes)) > 0)
            for (ssize_t i = 0; i < n; ++i) {
                happened.woken = happened.woken || bytes[i] == 'w';
                happened.resized = happened.resized || bytes[i] == 'r';
                happened.stop = happened.stop || bytes[i] == 's';
            }
    }
    if (fds[0].revents & (POLLHUP | POLLERR | POLLNVAL)) happened.stop = true;
    if (fds[0].revents & POLLIN) {
        wint_t key = 0;
        int got = 0;
        while ((got = ::wget_wch(stdscr, &key)) != ERR) {
            if (got == KEY_CODE_YES && key == static_cast<wint_t>(KEY_RESIZE)) {
                happened.resized = true;
                continue;
            }
            if (got == KEY_CODE_YES && key == static_cast<wint_t>(KEY_MOUSE)) {
                MEVENT event{};
                if (::getmouse(&event) != OK) continue;
                live::Input input;
                input.kind = event.bstate & BUTTON4_PRESSED   ? live::Input::Kind::wheelUp
                             : event.bstate & BUTTON5_PRESSED ? live::Input::Kind::wheelDown
                                                              : live::Input::Kind::click;
                input.x = static_cast<size_t>(std::max(event.x, 0));
                input.y = static_cast<size_t>(std::max(event.y, 0));
                happened.inputs.push_back(input);
                continue;
            }
            live::Input input;
            input.code = translate(key, got == KEY_CODE_YES);
            if (input.code != 0) happened.inputs.push_back(input);
        }
        // Readable but nothing came: the terminal is gone (a read of 0 bytes).
        if (happened.inputs.empty() && !happened.resized && ::isatty(STDIN_FILENO) == 0) happened.stop = true;
    }
    if (happened.resized) terminal_->resize();
    return happened;
}

void LiveView::wakeAny() {
    if (const int fd = wakeWrite.load(); fd >= 0) (void)!::write(fd, "w", 1);
}

}  // namespace qm::cli
