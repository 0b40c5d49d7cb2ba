#include "cli/LiveState.h"

#include <algorithm>
#include <array>

namespace qm::cli::live {

namespace {

constexpr std::array<double, 8> periods{1, 2, 3, 5, 10, 15, 30, 60};
constexpr SortColumn columnOrder[] = {SortColumn::pid,    SortColumn::name,  SortColumn::cpu,
                                      SortColumn::memory, SortColumn::power, SortColumn::disk};

void appendUtf8(std::string& out, uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

size_t indexOf(const std::vector<Row>& rows, const std::string& id) {
    for (size_t i = 0; i < rows.size(); ++i)
        if (rows[i].id == id) return i;
    return SIZE_MAX;
}

void select(ViewState& state, const std::vector<Row>& rows, size_t index) {
    if (rows.empty()) return;
    index = std::min(index, rows.size() - 1);
    state.selected = rows[index].id;
    state.selectedIndex = index;
}

// Moves the selection by `delta` rows (negative: up).
void move(ViewState& state, const std::vector<Row>& rows, long delta) {
    if (rows.empty()) return;
    const long at = static_cast<long>(std::min(state.selectedIndex, rows.size() - 1));
    const long to = std::clamp(at + delta, 0L, static_cast<long>(rows.size()) - 1);
    select(state, rows, static_cast<size_t>(to));
}

// Sorting by the column already sorted on reverses it; a new column starts with its
// natural order: names A to Z and PIDs low to high, figures biggest first.
Request sortBy(ViewState& state, SortColumn column) {
    if (state.rows.sort == column) {
        state.rows.ascending = !state.rows.ascending;
    } else {
        state.rows.sort = column;
        state.rows.ascending = column == SortColumn::name || column == SortColumn::pid;
    }
    return Request::settings;
}

Request stepSort(ViewState& state, int delta) {
    const long count = std::size(columnOrder);
    long at = 0;
    while (at < count && columnOrder[at] != state.rows.sort) ++at;
    at = (at + delta + count) % count;
    state.rows.sort = columnOrder[at];
    state.rows.ascending = state.rows.sort == SortColumn::name || state.rows.sort == SortColumn::pid;
    return Request::settings;
}

Request confirmationKey(ViewState& state, const Input& input) {
    Confirmation& c = *state.confirmation;
    switch (input.code) {
        case key::escape:
        case 'n':
        case 'q':
            state.confirmation.reset();
            state.message = "Nothing was sent.";
            return Request::none;
        case key::enter:
        case 'y': return Request::act;
        case key::up:
            if (c.cursor > 0) --c.cursor;
            return Request::none;
        case key::down:
        case 'j':
            if (c.cursor + 1 < c.targets.size()) ++c.cursor;
            return Request::none;
        case ' ':
            if (c.cursor < c.targets.size() && c.targets[c.cursor].own) c.chosen[c.cursor] = !c.chosen[c.cursor];
            return Request::none;
        case 'a': {
            // All of the user's processes, or none when all already are.
            bool all = true;
            for (size_t i = 0; i < c.targets.size(); ++i) all = all && (c.chosen[i] || !c.targets[i].own);
            for (size_t i = 0; i < c.targets.size(); ++i) c.chosen[i] = !all && c.targets[i].own;
            return Request::none;
        }
        default: return Request::none;
    }
}

Request filterKey(ViewState& state, const Input& input, const Context& context) {
    switch (input.code) {
        case key::escape:
            state.rows.filter.clear();
            state.editingFilter = false;
            return Request::none;
        case key::enter: state.editingFilter = false; return Request::none;
        case key::backspace:
        case 127:
        case 8:
            // A whole UTF-8 character goes at once.
            while (!state.rows.filter.empty() && (static_cast<unsigned char>(state.rows.filter.back()) & 0xC0) == 0x80)
                state.rows.filter.pop_back();
            if (!state.rows.filter.empty()) state.rows.filter.pop_back();
            return Request::none;
        case key::up: move(state, context.rows, -1); return Request::none;
        case key::down: move(state, context.rows, 1); return Request::none;
        default:
            // Printable characters only; a filter has no use for control codes.
            if (input.code >= 0x20 && input.code != 0x7F && (input.code < 0x80 || input.code >= 0xA0) &&
                input.code < 0x110000 && state.rows.filter.size() < 200)
                appendUtf8(state.rows.filter, static_cast<uint32_t>(input.code));
            return Request::none;
    }
}

Request prepare(ViewState& state, Action action, const Context& context) {
    const Row* row = state.selectedRow(context.rows);
    if (row == nullptr) {
        state.message = "Select a process first.";
        return Request::none;
    }
    Confirmation c = confirmationFor(action, *row, context.groups, context.ownUID, context.commandLine);
    if (c.targets.empty()) {
        state.message = "It is no longer running.";
        return Request::none;
    }
    state.confirmation = std::move(c);
    return Request::prepareAction;
}

Request click(ViewState& state, const Input& input, const Context& context) {
    const Geometry& g = context.geometry;
    if (input.y == g.headerY) {
        for (const HeaderCell& cell : g.headerCells)
            if (input.x >= cell.from && input.x < cell.to) return sortBy(state, cell.column);
        return Request::none;
    }
    if (input.y < g.listTop || input.y >= g.listTop + g.listHeight) return Request::none;
    const size_t index = state.scroll + (input.y - g.listTop);
    if (index >= context.rows.size()) return Request::none;
    // A click on the selected group opens or closes it.
    if (context.rows[index].id == state.selected && context.rows[index].expandable && !state.rows.tree) {
        if (!state.rows.expanded.erase(state.selected)) state.rows.expanded.insert(state.selected);
    }
    select(state, context.rows, index);
    return Request::none;
}

}  // namespace

const Row* ViewState::selectedRow(const std::vector<Row>& rows) const {
    const size_t at = indexOf(rows, selected);
    return at == SIZE_MAX ? nullptr : &rows[at];
}

void ViewState::settle(const std::vector<Row>& rows, size_t listHeight) {
    if (rows.empty()) {
        selectedIndex = 0;
        scroll = 0;
        return;
    }
    const size_t at = indexOf(rows, selected);
    // A row that went (the process ended, the filter changed) leaves the selection
    // at its place, not at the top.
    select(*this, rows, at == SIZE_MAX ? selectedIndex : at);
    if (listHeight == 0) return;
    if (selectedIndex < scroll) scroll = selectedIndex;
    if (selectedIndex >= scroll + listHeight) scroll = selectedIndex + 1 - listHeight;
    scroll = std::min(scroll, rows.size() > listHeight ? rows.size() - listHeight : 0);
}

double nextPeriod(double period, bool longer) {
    if (longer) {
        for (double p : periods)
            if (p > period + 1e-9) return p;
        return periods.back();
    }
    for (auto it = periods.rbegin(); it != periods.rend(); ++it)
        if (*it < period - 1e-9) return *it;
    return periods.front();
}

std::string actionVerb(Action action) {
    switch (action) {
        case Action::quit: return "Quit";
        case Action::forceQuit: return "Force quit";
        case Action::stop: return "Stop";
        case Action::resume: return "Continue";
        case Action::lowerPriority: return "Lower the priority of";
        case Action::raisePriority: return "Raise the priority of";
    }
    return "Quit";
}

Confirmation confirmationFor(Action action, const Row& row, const std::vector<AppGroup>& groups, uint32_t ownUID,
                             const CommandLineOf& commandLine) {
    Confirmation c;
    c.action = action;
    c.subject = row.name;
    const AppGroup* group = nullptr;
    for (const AppGroup& g : groups)
        if (g.id == row.groupID) group = &g;
    if (group == nullptr) return c;
    // A process row is that process alone; a group row is all of the group.
    const bool processRow = row.id.starts_with("pid:");
    for (const ProcessSample& p : group->processes) {
        if (processRow && row.pid && p.pid != *row.pid) continue;
        Target t;
        t.pid = p.pid;
        t.startTime = p.startTime;
        t.uid = p.uid;
        t.name = p.name;
        t.command = commandLine ? commandLine(p.pid) : std::string();
        t.cpu = p.cpu;
        t.own = p.uid == ownUID && !p.isRestricted;
        c.targets.push_back(std::move(t));
    }
    std::stable_sort(c.targets.begin(), c.targets.end(),
                     [](const Target& a, const Target& b) { return a.cpu > b.cpu; });
    // An app's group ends whole, as its own Quit would; namesakes started from
    // different places are separate programs, so only the busiest is chosen at first.
    const bool wholeApp = !processRow && group->id.starts_with("app:");
    c.chosen.assign(c.targets.size(), false);
    bool first = true;
    for (size_t i = 0; i < c.targets.size(); ++i) {
        if (!c.targets[i].own) continue;
        c.chosen[i] = wholeApp || first;
        if (first) c.cursor = i;
        first = false;
    }
    return c;
}

Request handle(ViewState& state, const Input& input, const Context& context) {
    const std::vector<Row>& rows = context.rows;
    const long page = static_cast<long>(std::max<size_t>(context.geometry.listHeight, 1));
    if (input.kind == Input::Kind::wheelUp || input.kind == Input::Kind::wheelDown) {
        if (!state.mouse) return Request::none;
        if (state.confirmation) return Request::none;
        move(state, rows, input.kind == Input::Kind::wheelUp ? -3 : 3);
        return Request::none;
    }
    if (input.kind == Input::Kind::click) {
        if (!state.mouse || state.confirmation || state.help) return Request::none;
        return click(state, input, context);
    }
    if (input.code == key::ctrlC) return Request::quit;
    if (state.confirmation) return confirmationKey(state, input);
    if (state.help) {
        // Any key closes the help; q still quits from there.
        state.help = false;
        return input.code == 'q' ? Request::quit : Request::none;
    }
    if (state.editingFilter) return filterKey(state, input, context);

    state.message.clear();
    const Row* row = state.selectedRow(rows);
    switch (input.code) {
        case 'q':
        case key::f10: return Request::quit;
        case key::escape:
            if (state.explain) {
                state.explain = false;
            } else if (state.minutesBack > 0) {
                state.minutesBack = 0;
                return Request::history;
            } else {
                state.rows.filter.clear();
            }
            return Request::none;
        case key::up: move(state, rows, -1); return Request::none;
        case key::down:
        case 'j': move(state, rows, 1); return Request::none;
        case key::pageUp: move(state, rows, -page); return Request::none;
        case key::pageDown: move(state, rows, page); return Request::none;
        case key::home:
        case 'g': select(state, rows, 0); return Request::none;
        case key::end:
        case 'G': select(state, rows, SIZE_MAX); return Request::none;
        case 'P': return sortBy(state, SortColumn::cpu);
        case 'M': return sortBy(state, SortColumn::memory);
        case 'N': return sortBy(state, SortColumn::name);
        case 'I': state.rows.ascending = !state.rows.ascending; return Request::settings;
        case '<': return stepSort(state, -1);
        case '>': return stepSort(state, 1);
        case '/': state.editingFilter = true; return Request::none;
        case 't': state.rows.tree = !state.rows.tree; return Request::settings;
        case 'a':
            // Apps and every process; leaving the processes also leaves the tree.
            if (state.rows.tree) {
                state.rows.tree = false;
                state.rows.allProcesses = false;
            } else {
                state.rows.allProcesses = !state.rows.allProcesses;
            }
            return Request::settings;
        case key::enter:
            // Enter opens and closes an app's group, and explains anything else.
            if (row == nullptr) return Request::none;
            if (row->expandable && !state.rows.tree) {
                if (!state.rows.expanded.erase(row->id)) state.rows.expanded.insert(row->id);
            } else {
                state.explain = !state.explain;
            }
            return Request::none;
        case key::right:
            if (row == nullptr || !row->expandable) return Request::none;
            if (state.rows.tree)
                state.rows.collapsed.erase(row->id);
            else
                state.rows.expanded.insert(row->id);
            return Request::none;
        case key::left:
            if (row == nullptr) return Request::none;
            if (state.rows.tree) {
                if (row->expandable) state.rows.collapsed.insert(row->id);
            } else if (row->expanded) {
                state.rows.expanded.erase(row->id);
            } else if (row->id != row->groupID) {
                // From a process back to its group, closing it.
                state.rows.expanded.erase(row->groupID);
                state.selected = row->groupID;
            }
            return Request::none;
        case 'e': state.explain = !state.explain; return Request::none;
        case ' ': state.paused = !state.paused; return Request::none;
        case '+':
        case '=': state.period = nextPeriod(state.period, true); return Request::period;
        case '-':
        case '_': state.period = nextPeriod(state.period, false); return Request::period;
        case '?':
        case 'h':
        case key::f1: state.help = true; return Request::none;
        case '[': ++state.minutesBack; return Request::history;
        case ']':
            if (state.minutesBack == 0) return Request::none;
            --state.minutesBack;
            return Request::history;
        case 'm': state.mouse = !state.mouse; return Request::settings;
        case 'C': state.monochrome = !state.monochrome; return Request::settings;
        case 'k':
        case key::f9: return prepare(state, Action::quit, context);
        case 'K': return prepare(state, Action::forceQuit, context);
        case 'z': return prepare(state, Action::stop, context);
        case 'c': return prepare(state, Action::resume, context);
        case key::f7: return prepare(state, Action::raisePriority, context);
        case key::f8: return prepare(state, Action::lowerPriority, context);
        default: return Request::none;
    }
}

}  // namespace qm::cli::live
