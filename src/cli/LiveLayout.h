// What the terminal view shows, decided without a terminal: the header (per-core
// bars, memory parts, swap, rates with small graphs, power and heat), the list with
// its columns, the explanation pane, the help, the confirmation before an action and
// a recorded minute of history. Every decision about what fits a given width and
// height is here, so it is tested with plain strings; the drawing code only paints.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "cli/LiveRows.h"
#include "cli/LiveState.h"
#include "core/HistoryRecords.h"
#include "core/Snapshot.h"

namespace qm::cli::live {

// How a piece of text is painted. Without colour only `heading` (bold), `header` and
// `selected` (reverse video) keep an attribute; the rest read the same in plain text,
// and bars tell their parts apart by their characters.
enum class Tone { plain, heading, header, selected, label, dim, warning, critical, good, partA, partB, partC, partD };

struct Span {
    std::string text;
    Tone tone = Tone::plain;
};

using Line = std::vector<Span>;

// The list's columns after the name, dropped from the last one as the width shrinks;
// the name takes what is left (at least `minimumName` cells), and a wide terminal
// gives the rest to the command line.
struct Columns {
    static constexpr size_t minimumName = 8;
    size_t name = minimumName;
    bool pid = true;
    bool memory = true;
    bool power = true;
    bool disk = true;
    size_t command = 0;  // 0: no command-line column
};

Columns columnsFor(size_t width);

// Recent machine-wide figures, newest last, for the header's small graphs.
struct Trends {
    static constexpr size_t kept = 60;
    std::deque<double> rx, tx, read, write;
    void add(const Snapshot& snapshot);
};

// One recorded minute: its system figures, busiest apps and the events of its hour.
struct Moment {
    int64_t ts = 0;
    std::optional<SystemMinute> system;
    std::vector<AppMinute> apps;
    std::vector<TimelineEvent> events;
    std::string problem;  // why there is nothing to show (no recorder, a damaged database)
};

// The explanation of the selected row.
struct Pane {
    std::string title;
    std::string subtitle;
    std::vector<std::pair<std::string, std::vector<std::string>>> sections;  // heading, paragraphs
    std::vector<double> cpu;                                                 // the last three minutes, oldest first
    std::vector<double> memory;                                              // bytes
};

struct Model {
    const Snapshot* snapshot = nullptr;  // null before the first tick
    const std::vector<Row>* rows = nullptr;
    const Trends* trends = nullptr;
    const Moment* moment = nullptr;  // shown while state.minutesBack > 0
    const Pane* pane = nullptr;      // shown while state.explain
    CommandLineOf commandLine;
    Date now = 0;
    // The snapshot is the first read: counters have nothing before it, so every rate
    // (CPU shares, network, disk, process power and disk) shows "…" until the next.
    bool firstRead = false;
};

struct Screen {
    std::vector<Line> lines;
    Geometry geometry;
};

// The whole screen for a terminal of `width` x `height` cells: never a line wider
// than `width` (what does not fit is left out or cut, never wrapped) and never more
// than `height` lines. Moves `state.scroll` so that the selection stays in view.
Screen screenFor(const Model& model, ViewState& state, size_t width, size_t height);

// The characters a line takes on the terminal, and its text without tones.
size_t lineWidth(const Line& line);
std::string lineText(const Line& line);

// A small graph of `values` in `width` cells, scaled to their largest (▁ to █).
std::string sparkline(const std::vector<double>& values, size_t width);

// Whether colour is wanted: only on a terminal, and never when NO_COLOR is set to
// anything but the empty string.
bool colourWanted(bool stdoutIsTerminal, const char* noColour);

// Whether TERM names a terminal that can redraw in place; "dumb" and unset cannot.
bool termCanRedraw(const char* term);

}  // namespace qm::cli::live
