// What the terminal view remembers between two screens and how it answers keys and
// the mouse: the selection, the sort, the filter being typed, the open pane, dialog
// or help, the refresh period and the minute of history shown. No terminal here: the
// view turns ncurses's keys into `Input`s and carries out the `Request`s.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/LiveRows.h"
#include "core/Snapshot.h"

namespace qm::cli::live {

// Keys that are not characters, numbered above Unicode so both fit in one int.
namespace key {
inline constexpr int up = 0x110001;
inline constexpr int down = up + 1;
inline constexpr int left = up + 2;
inline constexpr int right = up + 3;
inline constexpr int pageUp = up + 4;
inline constexpr int pageDown = up + 5;
inline constexpr int home = up + 6;
inline constexpr int end = up + 7;
inline constexpr int enter = up + 8;
inline constexpr int escape = up + 9;
inline constexpr int backspace = up + 10;
inline constexpr int f1 = up + 11;
inline constexpr int f7 = up + 12;
inline constexpr int f8 = up + 13;
inline constexpr int f9 = up + 14;
inline constexpr int f10 = up + 15;
inline constexpr int ctrlC = 3;
}  // namespace key

struct Input {
    enum class Kind { key, click, wheelUp, wheelDown };
    Kind kind = Kind::key;
    int code = 0;  // a key: a character or one of key::
    size_t x = 0;  // a click's cell
    size_t y = 0;
};

// A sortable column's place on the list's header line, for clicks.
struct HeaderCell {
    size_t from = 0;
    size_t to = 0;  // one past the last column
    SortColumn column = SortColumn::cpu;
};

// Where the last screen put the list, as the layout decided it.
struct Geometry {
    size_t headerY = SIZE_MAX;  // the list's header line; SIZE_MAX when not shown
    std::vector<HeaderCell> headerCells;
    size_t listTop = 0;
    size_t listHeight = 0;
};

enum class Action { quit, forceQuit, stop, resume, lowerPriority, raisePriority };

// One process an action is aimed at, as the user saw it when choosing.
struct Target {
    int32_t pid = 0;
    uint64_t startTime = 0;  // with the pid, the process lifetime the user saw
    uint32_t uid = 0;
    std::string name;
    std::string command;
    double cpu = 0;
    bool own = false;  // this user's: the only ones that may be signalled
};

// The question before an action: what would end, each line chosen or not.
struct Confirmation {
    Action action = Action::quit;
    std::string subject;  // the row's name
    std::vector<Target> targets;
    std::vector<bool> chosen;
    size_t cursor = 0;
};

struct ViewState {
    RowOptions rows;  // apps or processes, tree, sort, filter, expanded groups
    bool editingFilter = false;
    std::string selected;  // the selected row's id
    size_t selectedIndex = 0;
    size_t scroll = 0;  // the first row shown
    bool paused = false;
    bool help = false;
    bool explain = false;
    bool mouse = true;
    bool monochrome = false;
    double period = 2;  // seconds between samples
    std::optional<Confirmation> confirmation;
    int minutesBack = 0;  // 0: live; otherwise the recorded minute this many minutes ago
    std::string message;  // one line at the bottom: what just happened

    // Keeps the selection on its row (or at its place when the row went) and in view.
    void settle(const std::vector<Row>& rows, size_t listHeight);
    const Row* selectedRow(const std::vector<Row>& rows) const;
};

// What the input needs carried out beyond a redraw.
enum class Request {
    none,
    quit,           // leave the view
    period,         // the refresh period changed
    history,        // minutesBack changed
    act,            // carry out the confirmation now
    prepareAction,  // an action key on a row: the confirmation is open (or the action is immediate)
    settings,       // something worth remembering changed
};

struct Context {
    const std::vector<Row>& rows;
    const std::vector<AppGroup>& groups;
    const Geometry& geometry;
    uint32_t ownUID = 0;
    CommandLineOf commandLine;
};

Request handle(ViewState& state, const Input& input, const Context& context);

// The refresh periods +/- step through, in seconds.
double nextPeriod(double period, bool longer);

// The processes an action on `row` is aimed at, and which of them are chosen at first:
// a process row is that process; an app's group is all of the user's processes in it;
// a group of namesakes only its busiest, with the others listed to choose.
Confirmation confirmationFor(Action action, const Row& row, const std::vector<AppGroup>& groups, uint32_t ownUID,
                             const CommandLineOf& commandLine);

// "Quit", "Force quit", "Stop", "Continue", "Lower the priority of", "Raise the priority of".
std::string actionVerb(Action action);

}  // namespace qm::cli::live
