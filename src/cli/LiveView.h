// The terminal under the live view: takes it over, paints the lines LiveLayout
// decides, and waits for something to happen (a key, a mouse event, a resize, a
// wake-up from the sampler's thread, or a signal to stop) without polling, so an
// idle view costs one wake-up per tick. It gives the terminal back as it found it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "cli/LiveLayout.h"
#include "cli/LiveState.h"

namespace qm::cli {

class LiveView {
public:
    // Takes over the terminal. Returns nullptr, with `why` set to a short reason,
    // when this terminal cannot redraw in place (TERM unset, "dumb" or unknown).
    static std::unique_ptr<LiveView> open(std::string& why);
    ~LiveView();
    LiveView(const LiveView&) = delete;
    LiveView& operator=(const LiveView&) = delete;

    size_t width() const;
    size_t height() const;
    void paint(const std::vector<live::Line>& lines, bool monochrome);
    // Mouse reporting on or off (off leaves the terminal's own text selection alone).
    void setMouse(bool on);

    struct Happened {
        std::vector<live::Input> inputs;
        bool woken = false;    // wake() was called
        bool resized = false;  // the terminal changed size
        bool stop = false;     // Ctrl+C, a hang-up, a kill, or the terminal went away
    };
    // Sleeps until something happens, or `milliseconds` pass (negative: no limit).
    Happened wait(int milliseconds = -1);
    // Makes the open view's wait() return; safe from any thread, and does nothing
    // when no view is open.
    static void wakeAny();

private:
    struct Terminal;
    explicit LiveView(std::unique_ptr<Terminal> terminal);

    std::unique_ptr<Terminal> terminal_;
};

}  // namespace qm::cli
