// The only file that speaks ncurses: it paints LiveLayout's lines and reads keys.
// ncurses's function-like macros (move, erase, timeout) would clash with the
// standard library, so they are off and this file builds outside the unity batch.
#define NCURSES_NOMACROS
#include "cli/LiveView.h"

#include <curses.h>
#include <unistd.h>

#include <atomic>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdlib>

#include "cli/LiveLayout.h"

namespace qm::cli {

namespace {

// Ctrl+C, a hang-up or a kill end the loop at its next wake-up, so the terminal is
// always given back; the handlers only set this flag. The signal may arrive on the
// sampler's thread, so the flag is atomic rather than a plain sig_atomic_t.
std::atomic<bool> stopRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set from a signal handler");
extern "C" void requestStop(int /*signal*/) { stopRequested.store(true); }

constexpr short warningPair = 1;
constexpr short criticalPair = 2;
constexpr short labelPair = 3;

int attributes(live::Tone tone, bool colour) {
    switch (tone) {
        case live::Tone::plain: return A_NORMAL;
        case live::Tone::heading: return A_BOLD;
        case live::Tone::header: return A_REVERSE;
        case live::Tone::label: return colour ? static_cast<int>(COLOR_PAIR(labelPair)) : A_NORMAL;
        case live::Tone::dim: return colour ? A_DIM : A_NORMAL;
        case live::Tone::warning: return colour ? static_cast<int>(COLOR_PAIR(warningPair)) : A_NORMAL;
        case live::Tone::critical: return colour ? static_cast<int>(COLOR_PAIR(criticalPair) | A_BOLD) : A_NORMAL;
    }
    return A_NORMAL;
}

}  // namespace

struct LiveView::Terminal {
    SCREEN* screen = nullptr;
    bool colour = false;
    struct sigaction previous[3] = {};
    static constexpr int signals[3] = {SIGINT, SIGTERM, SIGHUP};

    ~Terminal() {
        if (screen != nullptr) {
            ::endwin();
            ::delscreen(screen);
        }
        for (size_t i = 0; i < 3; ++i) ::sigaction(signals[i], &previous[i], nullptr);
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
    struct sigaction stop {};
    stop.sa_handler = requestStop;
    sigemptyset(&stop.sa_mask);
    for (size_t i = 0; i < 3; ++i) ::sigaction(Terminal::signals[i], &stop, &terminal->previous[i]);
    stopRequested.store(false);

    std::setlocale(LC_CTYPE, "");  // names and figures are UTF-8 ("≈", "—")
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
    ::cbreak();
    ::noecho();
    ::keypad(stdscr, TRUE);
    ::curs_set(0);
    terminal->colour = live::colourWanted(::isatty(STDOUT_FILENO) != 0, std::getenv("NO_COLOR")) && ::has_colors();
    if (terminal->colour) {
        ::start_color();
        ::use_default_colors();
        ::init_pair(warningPair, COLOR_YELLOW, -1);
        ::init_pair(criticalPair, COLOR_RED, -1);
        ::init_pair(labelPair, COLOR_CYAN, -1);
    }
    auto view = std::unique_ptr<LiveView>(new LiveView(std::move(terminal)));
    view->draw();
    return view;
}

LiveView::LiveView(std::unique_ptr<Terminal> terminal) : terminal_(std::move(terminal)) {}

LiveView::~LiveView() = default;

void LiveView::show(const Snapshot& snapshot) {
    shown_ = snapshot;
    draw();
}

bool LiveView::waitForKey(int milliseconds) {
    ::timeout(milliseconds);
    const int key = ::getch();
    if (stopRequested.load()) return false;
    switch (key) {
        case 'q':
        case 'Q':
        case 27:  // Esc
        case 3:   // Ctrl+C when the terminal passes it as a key
            return false;
        case KEY_RESIZE: draw(); return true;
        case ERR:
            // A timeout, or stdin is gone (the terminal closed): no point going on then.
            return ::isatty(STDIN_FILENO) != 0;
        default: return true;
    }
}

void LiveView::draw() {
    const auto width = static_cast<size_t>(std::max(COLS, 0));
    const auto height = static_cast<size_t>(std::max(LINES, 0));
    ::erase();
    std::vector<live::Line> lines;
    if (shown_)
        lines = live::screenFor(*shown_, width, height);
    else
        lines.push_back({{"Quillmere", live::Tone::heading}, {"  sampling\u2026", live::Tone::plain}});
    for (size_t y = 0; y < lines.size() && y < height; ++y) {
        ::move(static_cast<int>(y), 0);
        for (const live::Span& span : lines[y]) {
            ::attrset(attributes(span.tone, terminal_->colour));
            ::addstr(span.text.c_str());
            // Text wider than it counted (double-width characters) stops at the edge.
            if (::getcury(stdscr) != static_cast<int>(y)) break;
        }
    }
    ::attrset(A_NORMAL);
    ::refresh();
}

}  // namespace qm::cli
