// The live terminal view of `quillmere sample`: takes over the terminal, paints the
// lines LiveLayout decides, redraws on resize and quits on q, Esc or Ctrl+C, giving
// the terminal back as it found it.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/Snapshot.h"

namespace qm::cli {

class LiveView {
public:
    // Takes over the terminal. Returns nullptr, with `why` set to a short reason,
    // when this terminal cannot redraw in place (TERM unset, "dumb" or unknown).
    static std::unique_ptr<LiveView> open(std::string& why);
    ~LiveView();
    LiveView(const LiveView&) = delete;
    LiveView& operator=(const LiveView&) = delete;

    void show(const Snapshot& snapshot);
    // Waits up to `milliseconds` for a key, redrawing on a resize. False once the
    // person asked to quit (q, Esc, Ctrl+C) or the terminal went away.
    bool waitForKey(int milliseconds);

private:
    struct Terminal;
    explicit LiveView(std::unique_ptr<Terminal> terminal);
    void draw();

    std::unique_ptr<Terminal> terminal_;
    std::optional<Snapshot> shown_;
};

}  // namespace qm::cli
