#include "shell/Explanation.h"

#include <algorithm>

#include "fmt/Fmt.h"

namespace qm {

std::string safetyTitle(ProcessEntry::Safety safety) {
    switch (safety) {
        case ProcessEntry::Safety::safe: return "Safe to quit";
        case ProcessEntry::Safety::caution: return "Quit with care";
        case ProcessEntry::Safety::unsafe: return "Don't quit";
        case ProcessEntry::Safety::unknown: return "No advice on quitting";
    }
    return "No advice on quitting";
}

Insights::Tone safetyTone(ProcessEntry::Safety safety) {
    switch (safety) {
        case ProcessEntry::Safety::safe: return Insights::Tone::good;
        case ProcessEntry::Safety::caution: return Insights::Tone::warn;
        case ProcessEntry::Safety::unsafe: return Insights::Tone::bad;
        case ProcessEntry::Safety::unknown: return Insights::Tone::secondary;
    }
    return Insights::Tone::secondary;
}

std::string processFigures(const ProcessSample& process) {
    std::string text = process.approximate ? std::string(explainText::approximateMark) + " " : "";
    return text + Fmt::percent(process.cpu) + " \u00b7 " + Fmt::bytes(static_cast<double>(process.memory));
}

std::string commandLineText(const std::string& raw, size_t limit) {
    std::string line;
    line.reserve(std::min(raw.size(), limit + 4));
    for (char c : raw) {
        // Arguments are NUL-separated; control characters would break the line.
        const auto u = static_cast<unsigned char>(c);
        line += (u < 0x20 || u == 0x7f) ? ' ' : c;
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    if (line.size() > limit) {
        size_t cut = limit;
        // Never split a UTF-8 sequence.
        while (cut > 0 && (static_cast<unsigned char>(line[cut]) & 0xC0) == 0x80) --cut;
        line = line.substr(0, cut) + "\u2026";
    }
    return line;
}

Explanation explain(const AppGroup& group, std::optional<int32_t> pid, const ProcessEntry* entry,
                    const ProcessEntry* processEntry) {
    Explanation out;
    const ProcessSample* process = nullptr;
    if (pid)
        for (const ProcessSample& p : group.processes)
            if (p.pid == *pid) process = &p;

    if (process && processEntry) entry = processEntry;
    out.known = entry != nullptr;
    if (process) {
        out.title = processEntry ? processEntry->title : process->name;
        out.subtitle = process->name + " \u00b7 pid " + std::to_string(process->pid) + " in " + group.name;
    } else {
        out.title = entry ? entry->title : group.name;
        const size_t n = group.processes.size();
        out.subtitle = group.name + " \u00b7 " + label(group.kind) + " \u00b7 " + std::to_string(n) +
                       (n == 1 ? " process" : " processes");
    }

    out.safety = entry ? entry->safety() : ProcessEntry::Safety::unknown;
    out.safetyTitle = safetyTitle(out.safety);
    out.safetyTone = safetyTone(out.safety);
    if (entry) {
        out.oneLiner = entry->oneLiner;
        out.summary = entry->summary;
        out.whyHigh = entry->whyHigh;
        out.whatToDo = entry->whatToDo;
        out.safetyNote = entry->safeToQuitNote;
        out.webURL = entry->webURL();
        if (entry->typical && (entry->typical->cpu || entry->typical->memory)) {
            std::string typical = "Typically ";
            if (entry->typical->cpu) typical += *entry->typical->cpu + " CPU";
            if (entry->typical->cpu && entry->typical->memory) typical += ", ";
            if (entry->typical->memory) typical += *entry->typical->memory + " memory";
            out.typical = typical;
        }
    } else {
        out.oneLiner = explainText::unknown;
    }

    auto row = [](const ProcessSample& p) {
        return Explanation::Process{p.pid, p.name, processFigures(p), p.approximate, p.isRestricted};
    };
    if (process) {
        out.processes.push_back(row(*process));
    } else {
        std::vector<const ProcessSample*> busiest;
        for (const ProcessSample& p : group.processes) busiest.push_back(&p);
        std::stable_sort(busiest.begin(), busiest.end(),
                         [](const ProcessSample* a, const ProcessSample* b) { return a->cpu > b->cpu; });
        for (const ProcessSample* p : busiest) out.processes.push_back(row(*p));
    }
    return out;
}

}  // namespace qm
