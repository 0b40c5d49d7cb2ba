#include "cli/LiveLayout.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "cli/LiveText.h"
#include "fmt/Fmt.h"

namespace qm::cli::live {

namespace {

// Facts on a summary line: a label in the left margin, then facts left to right. A
// fact that does not fit ends the line, so what shows keeps its order of importance.
struct Fact {
    std::string text;
    Tone tone = Tone::plain;
};

constexpr size_t labelWidth = 9;  // "Network" and two spaces
constexpr const char* gap = "  ";

Tone cpuTone(double percent) {
    if (percent >= 90) return Tone::critical;
    return percent >= 60 ? Tone::warning : Tone::plain;
}

Tone barTone(double percent) {
    if (percent >= 90) return Tone::critical;
    return percent >= 60 ? Tone::warning : Tone::good;
}

Tone pressureTone(PressureLevel level) {
    switch (level) {
        case PressureLevel::normal: return Tone::plain;
        case PressureLevel::warning: return Tone::warning;
        case PressureLevel::critical: return Tone::critical;
    }
    return Tone::plain;
}

Tone thermalTone(ThermalState state) {
    if (state == ThermalState::critical) return Tone::critical;
    return state == ThermalState::serious ? Tone::warning : Tone::plain;
}

// A fact line fitted to `width`: the label and as many facts as fit whole. At widths
// too small even for the first fact, the first fact is cut with "…" instead.
Line factLine(const std::string& label, const std::vector<Fact>& facts, size_t width) {
    Line line;
    size_t used = 0;
    if (!label.empty()) {
        const size_t shown = std::min(labelWidth, width);
        line.push_back({fit(label, shown), Tone::label});
        used = shown;
    }
    for (size_t i = 0; i < facts.size(); ++i) {
        const size_t separator = i == 0 ? 0 : std::strlen(gap);
        const size_t needed = separator + cellWidth(facts[i].text);
        if (used + needed > width) {
            if (i == 0 && used < width) line.push_back({fit(facts[i].text, width - used), facts[i].tone});
            break;
        }
        if (separator) line.push_back({gap, Tone::plain});
        line.push_back({facts[i].text, facts[i].tone});
        used += needed;
    }
    // A cut first fact may end in padding; trailing spaces are never needed.
    while (!line.empty() && !line.back().text.empty() && line.back().text.back() == ' ') {
        line.back().text.pop_back();
        if (line.back().text.empty()) line.pop_back();
    }
    return line;
}

std::string bytes(double value) { return Fmt::bytes(value); }
std::string bytes(uint64_t value) { return Fmt::bytes(static_cast<double>(value)); }

std::string thermalText(const ThermalStats& thermal) {
    if (!thermal.hasSensors && thermal.state == ThermalState::nominal) return "no sensors";
    std::string text;
    switch (thermal.state) {
        case ThermalState::nominal: text = "nominal"; break;
        case ThermalState::fair: text = "fair"; break;
        case ThermalState::serious: text = "serious"; break;
        case ThermalState::critical: text = "critical"; break;
    }
    if (thermal.socTemp) text += " " + Fmt::temp(thermal.socTemp);
    return text;
}

std::string batteryText(const BatteryStats& battery) {
    std::string text = Fmt::percent(static_cast<int>(std::lround(battery.percent)));
    text += battery.isCharging ? " charging" : (battery.onAC ? " on mains" : " on battery");
    if (battery.minutesRemaining) text += ", " + Fmt::minutes(*battery.minutesRemaining);
    return text;
}

std::string periodText(double seconds) { return Fmt::number(seconds, seconds < 10 ? 1 : 0) + " s"; }

Line titleLine(const Snapshot& s, const ViewState& state, size_t width) {
    std::vector<Fact> facts{{"Quillmere", Tone::heading}, {Fmt::time(s.date), Tone::plain}};
    if (state.paused) facts.push_back({"paused (space resumes)", Tone::warning});
    facts.push_back({"every " + periodText(state.period), Tone::dim});
    facts.push_back({std::to_string(s.processCount) + " processes", Tone::dim});
    facts.push_back({"up " + Fmt::duration(s.uptime), Tone::dim});
    facts.push_back({"? help  q quits", Tone::dim});
    return factLine("", facts, width);
}

// Shown for a rate that has only one read behind it.
constexpr const char* measuring = "\u2026";

Line cpuFacts(const Snapshot& s, bool firstRead, size_t width) {
    Fact load{"load " + Fmt::number(s.cpu.load[0], 2) + " " + Fmt::number(s.cpu.load[1], 2) + " " +
                  Fmt::number(s.cpu.load[2], 2),
              Tone::dim};
    if (firstRead) return factLine("CPU", {{"measuring\u2026", Tone::dim}, std::move(load)}, width);
    return factLine("CPU",
                    {{Fmt::percent(s.cpu.total), cpuTone(s.cpu.total)},
                     {"user " + Fmt::percent(s.cpu.user), Tone::plain},
                     {"system " + Fmt::percent(s.cpu.system), Tone::plain},
                     std::move(load)},
                    width);
}

// The spans of `text`, cell by cell toned by `toneAt`, merged where the tone stays.
template <typename ToneAt>
void appendToned(Line& line, const std::string& cells, ToneAt toneAt) {
    for (size_t i = 0; i < cells.size(); ++i) {
        const Tone tone = toneAt(i);
        if (line.empty() || line.back().tone != tone) line.push_back({"", tone});
        line.back().text += cells[i];
    }
}

// "[|||||     23%]" in `width` cells (at least 6): the bar fills by the share, the
// figure sits at its right end. Without a share the bar stays empty and says so.
void appendBar(Line& line, std::optional<double> share100, size_t width) {
    const size_t inner = width - 2;
    const double percent = share100.value_or(0);
    const std::string figure = share100 ? Fmt::percent(percent) : measuring;
    const double share = std::clamp(percent, 0.0, 100.0) / 100.0;
    const auto filled = static_cast<size_t>(std::lround(share * static_cast<double>(inner)));
    std::string cells(inner, ' ');
    for (size_t i = 0; i < filled; ++i) cells[i] = '|';
    const size_t figureAt = figure.size() < inner ? inner - figure.size() : inner;
    for (size_t i = figureAt; i < inner; ++i) cells[i] = figure[i - figureAt];
    line.push_back({"[", Tone::dim});
    const Tone tone = barTone(percent);
    appendToned(line, cells, [&](size_t i) { return i >= figureAt ? Tone::plain : i < filled ? tone : Tone::plain; });
    line.push_back({"]", Tone::dim});
}

// One labelled bar per core, in as many columns as the width allows; none when even
// `maxLines` lines cannot hold them.
std::vector<Line> coreBars(const CPUStats& cpu, bool firstRead, size_t width, size_t maxLines) {
    std::vector<Line> lines;
    const size_t cores = cpu.perCore.size();
    if (cores == 0 || maxLines == 0) return lines;
    const size_t label = std::to_string(cores - 1).size();
    constexpr size_t narrowest = 12;  // the label, a space and an 8-cell bar or so
    size_t columns = std::min(std::clamp<size_t>(width / 30, 1, 4), cores);
    while ((cores + columns - 1) / columns > maxLines && (columns + 1) * (label + 1 + narrowest) <= width + 1)
        ++columns;
    const size_t rows = (cores + columns - 1) / columns;
    if (rows > maxLines) return lines;
    const size_t cellWidth = (width + 1) / columns - 1;  // one space between cells
    if (cellWidth < label + 1 + 6) return lines;
    for (size_t r = 0; r < rows; ++r) {
        Line line;
        for (size_t c = 0; c < columns; ++c) {
            const size_t core = c * rows + r;  // down the columns, as the cores are numbered
            if (core >= cores) break;
            if (c > 0) line.push_back({" ", Tone::plain});
            line.push_back({fitRight(std::to_string(core), label) + " ", Tone::label});
            appendBar(line, firstRead ? std::nullopt : std::optional<double>(cpu.perCore[core]), cellWidth - label - 1);
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

// A bar of parts that add up to `total`, each in its own character and tone.
struct Part {
    std::string name;
    double value = 0;
    char glyph = '|';
    Tone tone = Tone::partA;
};

Line partsBar(const std::string& label, const std::vector<Part>& parts, double total, const std::string& figure,
              size_t width) {
    Line line{{fit(label, std::min(labelWidth, width)), Tone::label}};
    if (width < labelWidth + 8 + cellWidth(figure)) return line;
    const size_t inner = width - labelWidth - 3 - cellWidth(figure);
    std::string cells(inner, ' ');
    std::vector<Tone> tones(inner, Tone::plain);
    double sum = 0;
    size_t from = 0;
    for (const Part& part : parts) {
        sum += part.value;
        // Cumulative rounding: the parts' cells add up to the whole's.
        const double share = total > 0 ? std::clamp(sum / total, 0.0, 1.0) : 0;
        const auto to = static_cast<size_t>(std::lround(share * static_cast<double>(inner)));
        for (size_t i = from; i < to && i < inner; ++i) {
            cells[i] = part.glyph;
            tones[i] = part.tone;
        }
        from = std::max(from, to);
    }
    line.push_back({"[", Tone::dim});
    appendToned(line, cells, [&](size_t i) { return tones[i]; });
    line.push_back({"] ", Tone::dim});
    line.push_back({figure, Tone::plain});
    return line;
}

std::vector<Part> memoryParts(const MemoryStats& m) {
    return {{"app", static_cast<double>(m.app), '#', Tone::partA},
            {"wired", static_cast<double>(m.wired), '=', Tone::partB},
            {"compressed", static_cast<double>(m.compressed), '%', Tone::partC},
            {"cached", static_cast<double>(m.cached), '~', Tone::partD}};
}

Line memoryLegend(const MemoryStats& m, size_t width) {
    std::vector<Fact> facts;
    for (const Part& part : memoryParts(m))
        facts.push_back({std::string(1, part.glyph) + " " + part.name + " " + bytes(part.value), part.tone});
    facts.push_back({"free " + bytes(m.free), Tone::plain});
    facts.push_back({"pressure " + Fmt::percent(m.pressure), pressureTone(m.pressureLevel)});
    // Under the bar, after the label's margin.
    const size_t margin = std::min(labelWidth, width);
    Line line{{std::string(margin, ' '), Tone::plain}};
    for (Span& span : factLine("", facts, width - margin)) line.push_back(std::move(span));
    return line;
}

Line swapLine(const MemoryStats& m, size_t width) {
    if (m.swapTotal == 0) return factLine("Swap", {{"none", Tone::dim}}, width);
    return partsBar("Swap", {{"swap", static_cast<double>(m.swapUsed), '#', Tone::warning}},
                    static_cast<double>(m.swapTotal), bytes(m.swapUsed) + " of " + bytes(m.swapTotal), width);
}

std::vector<double> recent(const std::deque<double>& series, size_t count) {
    const size_t from = series.size() > count ? series.size() - count : 0;
    return {series.begin() + static_cast<std::ptrdiff_t>(from), series.end()};
}

// Rates are absent (null) after the first read.
Line rateLine(const std::string& label, const std::string& first, std::optional<double> firstRate,
              const std::deque<double>* firstSeries, const std::string& second, std::optional<double> secondRate,
              const std::deque<double>* secondSeries, size_t width) {
    // Each fact is "in 1.2 MB/s" and, when there is room, its graph after it.
    const size_t graph = width >= 100 ? 16 : width >= 70 ? 8 : 0;
    auto fact = [&](const std::string& name, std::optional<double> rate, const std::deque<double>* series) {
        std::string text = name + " " + (rate ? Fmt::rate(*rate) : measuring);
        if (graph && series && !series->empty()) text = fit(text, 18) + sparkline(recent(*series, graph), graph);
        return Fact{text, Tone::plain};
    };
    return factLine(label, {fact(first, firstRate, firstSeries), fact(second, secondRate, secondSeries)}, width);
}

Line powerLine(const Snapshot& s, bool firstRead, size_t width) {
    std::vector<Fact> power;
    if (s.systemPower)
        power.push_back(
            {Fmt::watts(s.systemPower) + (s.systemPowerScope == PowerScope::package ? " processor" : ""), Tone::plain});
    // The GPU's busy share is a rate too.
    if (s.gpu && !firstRead) power.push_back({"GPU " + Fmt::percent(*s.gpu), cpuTone(*s.gpu)});
    if (s.battery.present) power.push_back({"battery " + batteryText(s.battery), Tone::plain});
    power.push_back({"thermal " + thermalText(s.thermal), thermalTone(s.thermal.state)});
    return factLine("Power", power, width);
}

// The header in as much detail as the height allows: everything on a tall terminal,
// the five summary lines on a middling one, one or two lines on a small one.
std::vector<Line> headerLines(const Model& model, const ViewState& state, size_t width, size_t height) {
    const Snapshot& s = *model.snapshot;
    std::vector<Line> lines{titleLine(s, state, width)};
    const MemoryStats& m = s.memory;
    const Line memoryFacts = factLine("Memory",
                                      {{bytes(m.used()) + " of " + bytes(m.total), Tone::plain},
                                       {"pressure " + Fmt::percent(m.pressure), pressureTone(m.pressureLevel)},
                                       {"swap " + bytes(m.swapUsed), m.swapUsed > 0 ? Tone::warning : Tone::dim}},
                                      width);
    const Trends* t = model.trends;
    const bool first = model.firstRead;
    auto rate = [first](double value) { return first ? std::nullopt : std::optional<double>(value); };
    const Line network = rateLine("Network", "in", rate(s.network.rxRate), t ? &t->rx : nullptr, "out",
                                  rate(s.network.txRate), t ? &t->tx : nullptr, width);
    const Line disk = rateLine("Disk", "read", rate(s.disk.readRate), t ? &t->read : nullptr, "write",
                               rate(s.disk.writeRate), t ? &t->write : nullptr, width);
    // The list keeps at least a third of the screen and five rows.
    const size_t listWants = std::max<size_t>(5, height / 3) + 2;
    const size_t room = height > listWants ? height - listWants : 0;
    constexpr size_t fullFixed = 8;  // title, CPU, memory bar and parts, swap, network, disk, power
    if (room >= fullFixed + 1 && width >= 40) {
        for (Line& bar : coreBars(s.cpu, first, width, std::min<size_t>(room - fullFixed, 8))) lines.push_back(bar);
        lines.push_back(cpuFacts(s, first, width));
        lines.push_back(partsBar("Memory", memoryParts(m), static_cast<double>(m.total),
                                 bytes(m.used()) + " of " + bytes(m.total), width));
        lines.push_back(memoryLegend(m, width));
        lines.push_back(swapLine(m, width));
        lines.push_back(network);
        lines.push_back(disk);
        lines.push_back(powerLine(s, first, width));
    } else if (room >= 5 || height >= 12) {
        lines.push_back(cpuFacts(s, first, width));
        lines.push_back(memoryFacts);
        lines.push_back(network);
        lines.push_back(powerLine(s, first, width));
    } else if (height >= 6) {
        lines.push_back(factLine("",
                                 {{"CPU " + (first ? std::string(measuring) : Fmt::percent(s.cpu.total)),
                                   first ? Tone::dim : cpuTone(s.cpu.total)},
                                  {"memory " + bytes(m.used()) + " of " + bytes(m.total), Tone::plain}},
                                 width));
    }
    return lines;
}

constexpr size_t pidWidth = 8;
constexpr size_t cpuWidth = 7;
constexpr size_t memoryWidth = 10;
constexpr size_t powerWidth = 9;
constexpr size_t diskWidth = 11;
constexpr size_t widestName = 40;  // beyond this the command line gets the room
constexpr size_t narrowestCommand = 20;

struct Cell {
    std::string text;
    size_t width = 0;
    bool right = true;
    Tone tone = Tone::plain;
    std::optional<SortColumn> column;
};

std::vector<Cell> cellsFor(const Columns& c) {
    std::vector<Cell> cells{{"", c.name, false, Tone::plain, SortColumn::name}};
    if (c.pid) cells.push_back({"", pidWidth, true, Tone::dim, SortColumn::pid});
    cells.push_back({"", cpuWidth, true, Tone::plain, SortColumn::cpu});
    if (c.memory) cells.push_back({"", memoryWidth, true, Tone::plain, SortColumn::memory});
    if (c.power) cells.push_back({"", powerWidth, true, Tone::plain, SortColumn::power});
    if (c.disk) cells.push_back({"", diskWidth, true, Tone::plain, SortColumn::disk});
    if (c.command) cells.push_back({"", c.command, false, Tone::dim, std::nullopt});
    return cells;
}

Line paint(const std::vector<Cell>& cells, std::optional<Tone> whole) {
    Line line;
    for (size_t i = 0; i < cells.size(); ++i) {
        const Cell& cell = cells[i];
        // The command line is separated from the disk column by two spaces.
        std::string text = cell.right ? fitRight(cell.text, cell.width)
                                      : (i > 0 ? "  " + fit(cell.text, cell.width - 2) : fit(cell.text, cell.width));
        line.push_back({std::move(text), whole ? *whole : cell.tone});
    }
    return line;
}

Line headerLine(const Columns& columns, const ViewState& state, std::vector<HeaderCell>& cells) {
    auto spec = cellsFor(columns);
    const std::string arrow = state.rows.ascending ? "\u25b2" : "\u25bc";
    size_t x = 0;
    for (Cell& cell : spec) {
        std::string title;
        if (!cell.column) {
            title = "COMMAND";
        } else {
            switch (*cell.column) {
                case SortColumn::name: title = state.rows.tree || state.rows.allProcesses ? "PROCESS" : "APP"; break;
                case SortColumn::pid: title = "PID"; break;
                case SortColumn::cpu: title = "CPU"; break;
                case SortColumn::memory: title = "MEMORY"; break;
                case SortColumn::power: title = "POWER"; break;
                case SortColumn::disk: title = "DISK"; break;
            }
            if (*cell.column == state.rows.sort) title = cell.right ? arrow + title : title + arrow;
            cells.push_back({x, x + cell.width, *cell.column});
        }
        cell.text = title;
        x += cell.width;
    }
    return paint(spec, Tone::header);
}

Line rowLine(const Columns& columns, const Row& row, const ViewState& state, bool selected, bool firstRead,
             const CommandLineOf& commandLine) {
    auto spec = cellsFor(columns);
    std::string marker;
    if (row.expandable && !(state.rows.tree && row.expanded))
        marker = row.expanded ? "\u25be " : "\u25b8 ";
    else if (!state.rows.tree && !state.rows.allProcesses && row.id == row.groupID)
        marker = "  ";
    const std::string lead = !state.rows.tree && row.id != row.groupID ? "  " + row.prefix : row.prefix;
    for (Cell& cell : spec) {
        if (!cell.column) {
            cell.text = row.pid && commandLine ? commandLine(*row.pid) : "";
            continue;
        }
        switch (*cell.column) {
            case SortColumn::name: cell.text = lead + marker + row.name; break;
            case SortColumn::pid:
                cell.text = row.count > 1 ? "\u00d7" + std::to_string(row.count)
                                          : (row.pid ? std::to_string(*row.pid) : std::string());
                break;
            case SortColumn::cpu:
                cell.text = firstRead ? measuring : (row.approximate ? "\u2248" : "") + Fmt::percent(row.cpu);
                cell.tone = firstRead ? Tone::dim : cpuTone(row.cpu);
                break;
            case SortColumn::memory: cell.text = bytes(row.memory); break;
            case SortColumn::power: cell.text = firstRead ? measuring : Fmt::watts(row.power); break;
            case SortColumn::disk: cell.text = firstRead ? measuring : Fmt::rate(row.disk); break;
        }
    }
    return paint(spec, selected ? std::optional<Tone>(Tone::selected) : std::nullopt);
}

Line footerLine(const ViewState& state, size_t shown, size_t total, size_t width) {
    if (state.editingFilter)
        return factLine("",
                        {{"Filter: " + state.rows.filter + "\u2581", Tone::heading},
                         {"Enter keeps it, Esc clears it", Tone::dim},
                         {std::to_string(shown) + " shown", Tone::dim}},
                        width);
    if (!state.message.empty()) return factLine("", {{state.message, Tone::warning}}, width);
    std::vector<Fact> facts;
    if (!state.rows.filter.empty())
        facts.push_back({"Filter \"" + state.rows.filter + "\": " + std::to_string(shown) + " of " +
                             std::to_string(total) + " (Esc clears)",
                         Tone::warning});
    for (const char* hint : {"F1 help", "/ filter", "e explain", "k quit", "t tree", "a processes", "[ history",
                             "P M N sort", "+ - period", "q exit"})
        facts.push_back({hint, Tone::dim});
    if (state.rows.allProcesses || state.rows.tree) facts[facts.size() - 5].text = "a apps";
    return factLine("", facts, width);
}

std::vector<Line> helpLines(size_t width) {
    static const std::pair<const char*, const char*> keys[] = {
        {"\u2191 \u2193 j  PgUp PgDn  Home End", "move the selection (the mouse wheel too)"},
        {"P  M  N  < >  I", "sort by CPU, memory, name; step the column; reverse (or click a heading)"},
        {"/", "filter by name, PID or command line (Esc clears)"},
        {"Enter  \u2192  \u2190", "open or close an app's processes (\u2192 \u2190 in the tree too)"},
        {"e  (Enter on a process)", "explain: what it is, whether it is safe to quit, who made it"},
        {"t   a", "parent/child tree;  apps or every process"},
        {"k  F9   K", "quit the selection, or force it, after a confirmation listing what will end"},
        {"z   c   F7  F8", "stop or continue; raise or lower the priority (your own processes)"},
        {"[   ]   Esc", "a minute back or forward in the recorded history; Esc returns to live"},
        {"space   +  -", "pause; sample more or less often"},
        {"m   C", "mouse on or off; colour or monochrome"},
        {"q  F10  Ctrl-C", "leave"},
    };
    std::vector<Line> lines{{{"Keys", Tone::heading}}};
    constexpr size_t keyWidth = 30;
    for (const auto& [keysText, meaning] : keys) {
        if (width >= keyWidth + 20) {
            lines.push_back({{fit(keysText, keyWidth), Tone::label}, {meaning, Tone::plain}});
        } else {
            lines.push_back({{keysText, Tone::label}});
            lines.push_back({{"  " + std::string(meaning), Tone::plain}});
        }
    }
    lines.push_back({{"Any key closes this help.", Tone::dim}});
    return lines;
}

std::vector<Line> confirmationLines(const Confirmation& c, size_t width, size_t height) {
    std::vector<Line> lines;
    size_t chosen = 0;
    for (bool b : c.chosen) chosen += b;
    lines.push_back({{actionVerb(c.action) + " " + c.subject + "?", Tone::heading}});
    const char* what = c.action == Action::forceQuit ? "These processes end at once; unsaved work in them is lost."
                       : c.action == Action::quit    ? "These processes are asked to quit (they may save first)."
                                                     : "These processes:";
    lines.push_back({{what, Tone::plain}});
    // The rows, the one under the cursor kept in view.
    const size_t room = height > 4 ? height - 4 : 1;
    const size_t first = c.cursor >= room ? c.cursor + 1 - room : 0;
    for (size_t i = first; i < c.targets.size() && i < first + room; ++i) {
        const Target& t = c.targets[i];
        const std::string box = !t.own ? "    " : c.chosen[i] ? "[x] " : "[ ] ";
        std::string text =
            box + fitRight(std::to_string(t.pid), 7) + "  " + fit(t.name, 16) + "  " +
            (t.own ? (t.command.empty() ? std::string() : t.command) : std::string("another user's: left alone"));
        lines.push_back({{fit(text, width), i == c.cursor ? Tone::selected : (t.own ? Tone::plain : Tone::dim)}});
    }
    lines.push_back(factLine("",
                             {{"Enter: " + actionVerb(c.action) + " " + std::to_string(chosen) +
                                   (chosen == 1 ? " process" : " processes"),
                               chosen ? Tone::warning : Tone::dim},
                              {"space chooses", Tone::dim},
                              {"a all", Tone::dim},
                              {"Esc cancels", Tone::dim}},
                             width));
    return lines;
}

std::vector<Line> paneLines(const Pane& pane, size_t width) {
    std::vector<Line> lines;
    lines.push_back({{pane.title, Tone::heading}, {"  " + pane.subtitle, Tone::dim}});
    auto graph = [&](const std::string& label, const std::vector<double>& values, const std::string& now,
                     const std::string& peak) {
        if (values.empty()) return;
        const size_t room = width > 40 ? std::min<size_t>(width - 40, 60) : 0;
        Line line{{fit(label, 8), Tone::label}};
        if (room) line.push_back({sparkline(values, room) + "  ", Tone::good});
        line.push_back({"now " + now + ", peak " + peak, Tone::plain});
        lines.push_back(line);
    };
    if (!pane.cpu.empty()) {
        const double peak = *std::max_element(pane.cpu.begin(), pane.cpu.end());
        graph("CPU", pane.cpu, Fmt::percent(pane.cpu.back()), Fmt::percent(peak));
    }
    if (!pane.memory.empty()) {
        const double peak = *std::max_element(pane.memory.begin(), pane.memory.end());
        graph("Memory", pane.memory, bytes(pane.memory.back()), bytes(peak));
    }
    for (const auto& [heading, paragraphs] : pane.sections) {
        if (!heading.empty()) lines.push_back({{heading, Tone::label}});
        for (const std::string& paragraph : paragraphs)
            for (std::string& piece : wrap(paragraph, width > 2 ? width - 2 : width))
                lines.push_back({{"  " + piece, Tone::plain}});
    }
    return lines;
}

std::string minuteTitle(int64_t ts, Date now) {
    return Fmt::time(static_cast<Date>(ts)) + " (" + Fmt::ago(static_cast<Date>(ts), now) + ")";
}

std::vector<Line> momentLines(const Moment& moment, const ViewState& state, Date now, size_t width, size_t height) {
    std::vector<Line> lines;
    lines.push_back(factLine("",
                             {{"Quillmere", Tone::heading},
                              {"history " + minuteTitle(moment.ts, now), Tone::warning},
                              {"[ earlier  ] later  Esc live", Tone::dim}},
                             width));
    if (!moment.problem.empty()) {
        size_t from = 0;
        while (from <= moment.problem.size()) {
            const size_t end = std::min(moment.problem.find('\n', from), moment.problem.size());
            for (const std::string& piece : wrap(moment.problem.substr(from, end - from), width))
                lines.push_back({{piece, Tone::plain}});
            from = end + 1;
        }
        return lines;
    }
    if (const auto& r = moment.system) {
        std::vector<Fact> cpu{{Fmt::percent(r->cpu), cpuTone(r->cpu)}};
        if (r->gpu) cpu.push_back({"GPU " + Fmt::percent(*r->gpu), Tone::plain});
        lines.push_back(factLine("CPU", cpu, width));
        lines.push_back(factLine("Memory",
                                 {{bytes(r->memUsed) + " of " + bytes(r->memTotal), Tone::plain},
                                  {"pressure " + Fmt::percent(r->pressure), Tone::plain},
                                  {"swap " + bytes(r->swap), r->swap > 0 ? Tone::warning : Tone::dim}},
                                 width));
        lines.push_back(factLine("Network",
                                 {{"in " + Fmt::rate(r->netRx), Tone::plain},
                                  {"out " + Fmt::rate(r->netTx), Tone::plain},
                                  {"disk read " + Fmt::rate(r->diskRead), Tone::plain},
                                  {"write " + Fmt::rate(r->diskWrite), Tone::plain}},
                                 width));
        std::vector<Fact> power;
        if (r->power) power.push_back({Fmt::watts(r->power), Tone::plain});
        if (r->socTemp) power.push_back({Fmt::temp(r->socTemp), Tone::plain});
        if (r->battery)
            power.push_back({"battery " + Fmt::percent(static_cast<int>(std::lround(*r->battery))), Tone::plain});
        if (!power.empty()) lines.push_back(factLine("Power", power, width));
    } else {
        lines.push_back({{"No system figures were recorded in this minute.", Tone::dim}});
    }
    lines.emplace_back();
    lines.push_back(factLine("", {{"Busiest apps in this minute", Tone::heading}}, width));
    Line header{{fit("APP", width > 30 ? width - 30 : width), Tone::header}};
    if (width > 30)
        header.push_back({fitRight("CPU", 10) + fitRight("MEMORY", 10) + fitRight("WRITES", 10), Tone::header});
    lines.push_back(header);
    if (moment.apps.empty()) lines.push_back({{"No app data for this moment.", Tone::dim}});
    for (const AppMinute& app : moment.apps) {
        Line line{{fit(app.name, width > 30 ? width - 30 : width), Tone::plain}};
        if (width > 30)
            line.push_back({fitRight(Fmt::percent(app.cpu), 10) + fitRight(bytes(app.memory), 10) +
                                fitRight(Fmt::rate(app.diskWrite), 10),
                            Tone::plain});
        lines.push_back(line);
    }
    lines.emplace_back();
    lines.push_back(factLine("", {{"Events of that hour", Tone::heading}}, width));
    if (moment.events.empty())
        lines.push_back(
            {{"No notable events. Runaway apps, heat, memory pressure and indexing appear here "
              "automatically.",
              Tone::dim}});
    for (const TimelineEvent& e : moment.events)
        lines.push_back(factLine("",
                                 {{Fmt::time(e.date), Tone::dim},
                                  {e.title, e.severity >= 2   ? Tone::critical
                                            : e.severity == 1 ? Tone::warning
                                                              : Tone::plain},
                                  {e.detail, Tone::dim}},
                                 width));
    (void)state;
    (void)height;
    return lines;
}

}  // namespace

void Trends::add(const Snapshot& s) {
    for (auto [series, value] : {std::pair{&rx, s.network.rxRate}, std::pair{&tx, s.network.txRate},
                                 std::pair{&read, s.disk.readRate}, std::pair{&write, s.disk.writeRate}}) {
        series->push_back(value);
        if (series->size() > kept) series->pop_front();
    }
}

Columns columnsFor(size_t width) {
    Columns columns;
    size_t fixed = cpuWidth + pidWidth + memoryWidth + powerWidth + diskWidth;
    // Least useful first: disk, power, the PID, then memory. CPU always stays.
    const std::pair<bool*, size_t> optional[] = {{&columns.disk, diskWidth},
                                                 {&columns.power, powerWidth},
                                                 {&columns.pid, pidWidth},
                                                 {&columns.memory, memoryWidth}};
    for (const auto& [shown, columnWidth] : optional) {
        if (fixed + Columns::minimumName <= width) break;
        *shown = false;
        fixed -= columnWidth;
    }
    // Below even name and CPU, the name shrinks and the cell cuts it.
    columns.name = width > fixed ? width - fixed : 1;
    if (width <= cpuWidth) columns.name = 0;
    // A wide terminal gives what the name does not need to the command line.
    if (columns.name > widestName + narrowestCommand) {
        columns.command = columns.name - widestName;
        columns.name = widestName;
    }
    return columns;
}

Screen screenFor(const Model& model, ViewState& state, size_t width, size_t height) {
    Screen screen;
    std::vector<Line>& lines = screen.lines;
    if (width == 0 || height == 0) return screen;
    if (state.minutesBack > 0 && model.moment) {
        lines = momentLines(*model.moment, state, model.now, width, height);
    } else if (model.snapshot == nullptr) {
        lines.push_back({{"Quillmere", Tone::heading}, {"  sampling\u2026", Tone::plain}});
    } else {
        lines = headerLines(model, state, width, height);
        static const std::vector<Row> none;
        const std::vector<Row>& rows = model.rows ? *model.rows : none;
        // The list needs its header, one row and the footer line.
        if (lines.size() + 3 <= height) {
            const Columns columns = columnsFor(width);
            const size_t bodyTop = lines.size() + 1;
            const size_t body = height - bodyTop - 1;  // less the footer
            if (state.help) {
                for (Line& line : helpLines(width)) lines.push_back(std::move(line));
            } else if (state.confirmation) {
                for (Line& line : confirmationLines(*state.confirmation, width, body + 1)) lines.push_back(line);
            } else {
                screen.geometry.headerY = lines.size();
                lines.push_back(headerLine(columns, state, screen.geometry.headerCells));
                // With the explanation open the list keeps a third, at least three rows.
                const bool pane = state.explain && model.pane;
                const size_t listHeight = pane ? std::max<size_t>(3, body / 3) : body;
                state.settle(rows, listHeight);
                screen.geometry.listTop = lines.size();
                screen.geometry.listHeight = listHeight;
                for (size_t i = state.scroll; i < rows.size() && i < state.scroll + listHeight; ++i)
                    lines.push_back(rowLine(columns, rows[i], state, rows[i].id == state.selected, model.firstRead,
                                            model.commandLine));
                if (pane) {
                    while (lines.size() < screen.geometry.listTop + listHeight) lines.emplace_back();
                    lines.push_back({{std::string(width, ' '), Tone::header}});
                    for (Line& line : paneLines(*model.pane, width)) lines.push_back(std::move(line));
                }
            }
            if (lines.size() > height - 1) lines.resize(height - 1);
            while (lines.size() < height - 1) lines.emplace_back();
            size_t total = 0;
            if (model.snapshot)
                for (const AppGroup& g : model.snapshot->groups)
                    total += state.rows.allProcesses || state.rows.tree ? g.processes.size() : 1;
            lines.push_back(footerLine(state, rows.size(), total, width));
        }
    }
    if (lines.size() > height) lines.resize(height);
    // Cells of a line never run past the edge, whatever a piece of text held.
    for (Line& line : lines) {
        size_t used = 0;
        for (size_t i = 0; i < line.size(); ++i) {
            const size_t w = cellWidth(line[i].text);
            if (used + w > width) {
                line[i].text = fit(line[i].text, width - used);
                line.resize(line[i].text.empty() ? i : i + 1);
                break;
            }
            line[i].text = fit(line[i].text, w);
            used += w;
        }
    }
    return screen;
}

size_t lineWidth(const Line& line) {
    size_t width = 0;
    for (const Span& span : line) width += cellWidth(span.text);
    return width;
}

std::string lineText(const Line& line) {
    std::string text;
    for (const Span& span : line) text += span.text;
    return text;
}

std::string sparkline(const std::vector<double>& values, size_t width) {
    static const char* const levels[] = {"\u2581", "\u2582", "\u2583", "\u2584",
                                         "\u2585", "\u2586", "\u2587", "\u2588"};
    std::string out;
    const size_t from = values.size() > width ? values.size() - width : 0;
    double top = 0;
    for (size_t i = from; i < values.size(); ++i) top = std::max(top, values[i]);
    for (size_t i = values.size() - from; i < width; ++i) out += ' ';
    for (size_t i = from; i < values.size(); ++i) {
        const double share = top > 0 ? std::clamp(values[i] / top, 0.0, 1.0) : 0;
        out += levels[static_cast<size_t>(std::lround(share * 7))];
    }
    return out;
}

bool colourWanted(bool stdoutIsTerminal, const char* noColour) {
    return stdoutIsTerminal && (noColour == nullptr || noColour[0] == '\0');
}

bool termCanRedraw(const char* term) { return term != nullptr && term[0] != '\0' && std::strcmp(term, "dumb") != 0; }

}  // namespace qm::cli::live
