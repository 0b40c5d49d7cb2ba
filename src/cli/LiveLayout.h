// What the live terminal view shows, decided without a terminal: which facts and
// columns fit a given width, how many busy apps fit the height, and how each piece
// is toned. The drawing code only paints these lines, so every layout decision is
// testable with plain strings.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace qm::cli::live {

// How a piece of text is painted. Without colour only `heading` (bold) and `header`
// (reverse video) keep an attribute; the rest read the same in plain text.
enum class Tone { plain, heading, header, label, dim, warning, critical };

struct Span {
    std::string text;
    Tone tone = Tone::plain;
};

using Line = std::vector<Span>;

// The apps table's columns after the name, dropped from the last one as the width
// shrinks; the name takes what is left (at least `minimumName` characters).
struct Columns {
    static constexpr size_t minimumName = 8;
    size_t name = minimumName;
    bool pid = true;
    bool memory = true;
    bool power = true;
    bool disk = true;
};

Columns columnsFor(size_t width);

// The whole screen for a terminal of `width` x `height` cells: never a line wider
// than `width` (facts that do not fit are left out, never wrapped) and never more
// than `height` lines. As many of the busiest apps as the height leaves room for.
std::vector<Line> screenFor(const Snapshot& snapshot, size_t width, size_t height);

// The characters a line takes on the terminal, and its text without tones.
size_t lineWidth(const Line& line);
std::string lineText(const Line& line);

// Whether colour is wanted: only on a terminal, and never when NO_COLOR is set to
// anything but the empty string.
bool colourWanted(bool stdoutIsTerminal, const char* noColour);

// Whether TERM names a terminal that can redraw in place; "dumb" and unset cannot.
bool termCanRedraw(const char* term);

}  // namespace qm::cli::live
