#include "cli/LiveLayout.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "cli/ProcessDetails.h"
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
        line.push_back({cell(label, shown), Tone::label});
        used = shown;
    }
    for (size_t i = 0; i < facts.size(); ++i) {
        const size_t separator = i == 0 ? 0 : std::strlen(gap);
        const size_t needed = separator + displayWidth(facts[i].text);
        if (used + needed > width) {
            if (i == 0 && used < width) line.push_back({cell(facts[i].text, width - used), facts[i].tone});
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

std::vector<Line> summaryLines(const Snapshot& s, size_t width) {
    std::vector<Line> lines;
    lines.push_back(factLine("",
                             {{"Quillmere", Tone::heading},
                              {Fmt::time(s.date), Tone::plain},
                              {Fmt::number(s.interval, 1) + " s sample", Tone::dim},
                              {std::to_string(s.processCount) + " processes", Tone::dim},
                              {"up " + Fmt::duration(s.uptime), Tone::dim},
                              {"q quits", Tone::dim}},
                             width));
    lines.push_back(factLine("CPU",
                             {{Fmt::percent(s.cpu.total), cpuTone(s.cpu.total)},
                              {"user " + Fmt::percent(s.cpu.user), Tone::plain},
                              {"system " + Fmt::percent(s.cpu.system), Tone::plain},
                              {"load " + Fmt::number(s.cpu.load[0], 2) + " " + Fmt::number(s.cpu.load[1], 2) + " " +
                                   Fmt::number(s.cpu.load[2], 2),
                               Tone::dim}},
                             width));
    const auto& m = s.memory;
    lines.push_back(factLine("Memory",
                             {{bytes(m.used()) + " of " + bytes(m.total), Tone::plain},
                              {"pressure " + Fmt::percent(m.pressure), pressureTone(m.pressureLevel)},
                              {"swap " + bytes(m.swapUsed), m.swapUsed > 0 ? Tone::warning : Tone::dim}},
                             width));
    lines.push_back(factLine("Network",
                             {{"in " + Fmt::rate(s.network.rxRate), Tone::plain},
                              {"out " + Fmt::rate(s.network.txRate), Tone::plain},
                              {"disk read " + Fmt::rate(s.disk.readRate), Tone::plain},
                              {"write " + Fmt::rate(s.disk.writeRate), Tone::plain}},
                             width));
    std::vector<Fact> power{{Fmt::watts(s.systemPower), Tone::plain}};
    if (s.gpu) power.push_back({"GPU " + Fmt::percent(*s.gpu), cpuTone(*s.gpu)});
    if (s.battery.present) power.push_back({"battery " + batteryText(s.battery), Tone::plain});
    power.push_back({"thermal " + thermalText(s.thermal), thermalTone(s.thermal.state)});
    lines.push_back(factLine("Power", power, width));
    return lines;
}

constexpr size_t pidWidth = 8;
constexpr size_t cpuWidth = 7;
constexpr size_t memoryWidth = 10;
constexpr size_t powerWidth = 9;
constexpr size_t diskWidth = 11;
constexpr size_t widestName = 48;  // beyond this a wide terminal keeps the space free

// `text` right-aligned in exactly `width` characters, cut when it is longer.
std::string column(const std::string& text, size_t width) {
    return displayWidth(text) > width ? cell(text, width) : rightAligned(text, width);
}

Line tableLine(const Columns& columns, const std::string& name, const std::string& pid, const Fact& cpu,
               const std::string& memory, const std::string& power, const std::string& disk, Tone tone) {
    Line line{{cell(name, columns.name), tone}};
    if (columns.pid) line.push_back({column(pid, pidWidth), tone == Tone::header ? tone : Tone::dim});
    line.push_back({column(cpu.text, cpuWidth), tone == Tone::header ? tone : cpu.tone});
    if (columns.memory) line.push_back({column(memory, memoryWidth), tone});
    if (columns.power) line.push_back({column(power, powerWidth), tone});
    if (columns.disk) line.push_back({column(disk, diskWidth), tone});
    return line;
}

}  // namespace

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
    columns.name = width > fixed ? std::min(width - fixed, widestName) : 1;
    if (width <= cpuWidth) columns.name = 0;
    return columns;
}

std::vector<Line> screenFor(const Snapshot& snapshot, size_t width, size_t height) {
    std::vector<Line> lines;
    if (width == 0 || height == 0) return lines;
    lines = summaryLines(snapshot, width);
    if (lines.size() + 2 < height) {
        const Columns columns = columnsFor(width);
        lines.emplace_back();
        Line header = tableLine(columns, "APP", "PID", {"CPU"}, "MEMORY", "POWER", "DISK", Tone::header);
        lines.push_back(header);

        const size_t room = height - lines.size();
        std::vector<const AppGroup*> busiest;
        for (const auto& group : snapshot.groups) busiest.push_back(&group);
        const size_t shown = std::min(room, busiest.size());
        // The same order as the apps table: CPU first, memory breaking ties.
        std::partial_sort(busiest.begin(), busiest.begin() + static_cast<std::ptrdiff_t>(shown), busiest.end(),
                          [](const AppGroup* a, const AppGroup* b) {
            return a->cpu != b->cpu ? a->cpu > b->cpu : a->memory > b->memory;
        });
        for (size_t i = 0; i < shown; ++i) {
            const AppGroup& g = *busiest[i];
            // One process: its PID; several: how many.
            const std::string pid = g.processes.size() == 1 ? std::to_string(g.processes.front().pid)
                                                            : "\u00d7" + std::to_string(g.processes.size());
            lines.push_back(tableLine(columns, g.name, pid, {Fmt::percent(g.cpu), cpuTone(g.cpu)}, bytes(g.memory),
                                      Fmt::watts(g.power), Fmt::rate(g.diskReadRate + g.diskWriteRate), Tone::plain));
        }
    }
    if (lines.size() > height) lines.resize(height);
    // At widths below a column's own size the table's cells still add up to more.
    for (Line& line : lines) {
        size_t used = 0;
        for (size_t i = 0; i < line.size(); ++i) {
            const size_t w = displayWidth(line[i].text);
            if (used + w > width) {
                line[i].text = cell(line[i].text, width - used);
                line.resize(line[i].text.empty() ? i : i + 1);
                break;
            }
            used += w;
        }
    }
    return lines;
}

size_t lineWidth(const Line& line) {
    size_t width = 0;
    for (const Span& span : line) width += displayWidth(span.text);
    return width;
}

std::string lineText(const Line& line) {
    std::string text;
    for (const Span& span : line) text += span.text;
    return text;
}

bool colourWanted(bool stdoutIsTerminal, const char* noColour) {
    return stdoutIsTerminal && (noColour == nullptr || noColour[0] == '\0');
}

bool termCanRedraw(const char* term) { return term != nullptr && term[0] != '\0' && std::strcmp(term, "dumb") != 0; }

}  // namespace qm::cli::live
