#include "cli/LivePane.h"

#include "knowledge/ProcessLibrary.h"
#include "shell/Explanation.h"

namespace qm::cli::live {

void RecentFigures::add(const Snapshot& snapshot) {
    latest_ = snapshot.date;
    for (const AppGroup& g : snapshot.groups) {
        keep(g.id, snapshot.date, g.cpu, static_cast<double>(g.memory));
        for (const ProcessSample& p : g.processes)
            keep("pid:" + std::to_string(p.pid), snapshot.date, p.cpu, static_cast<double>(p.memory));
    }
    // Rows not seen for the whole span are dropped, so ended processes do not pile up.
    for (auto it = series_.begin(); it != series_.end();) {
        while (!it->second.empty() && it->second.front().date < latest_ - span) it->second.pop_front();
        it = it->second.empty() ? series_.erase(it) : std::next(it);
    }
}

void RecentFigures::keep(const std::string& id, Date date, double cpu, double memory) {
    auto& points = series_[id];
    // A pid taken over by a new process starts again: its past is another's.
    points.push_back({date, cpu, memory});
}

std::vector<double> RecentFigures::cpu(const std::string& id) const {
    std::vector<double> out;
    if (auto it = series_.find(id); it != series_.end())
        for (const Point& p : it->second) out.push_back(p.cpu);
    return out;
}

std::vector<double> RecentFigures::memory(const std::string& id) const {
    std::vector<double> out;
    if (auto it = series_.find(id); it != series_.end())
        for (const Point& p : it->second) out.push_back(p.memory);
    return out;
}

Pane paneFor(const Row& row, const std::vector<AppGroup>& groups, const ProcessLibrary& library,
             const std::string& madeBy, const std::string& command, const RecentFigures& recent) {
    Pane pane;
    const AppGroup* group = nullptr;
    for (const AppGroup& g : groups)
        if (g.id == row.groupID) group = &g;
    if (group == nullptr) {
        pane.title = row.name;
        pane.subtitle = "no longer running";
        return pane;
    }
    const bool processRow = row.id.starts_with("pid:");
    const std::optional<int32_t> pid = processRow ? row.pid : std::nullopt;
    const ProcessEntry* entry = library.lookup(*group);
    const ProcessEntry* processEntry = pid ? library.lookup(row.name, true) : nullptr;
    const Explanation e = explain(*group, pid, entry, processEntry);
    pane.title = e.title;
    pane.subtitle = e.subtitle;
    std::vector<std::string> what{e.oneLiner};
    if (e.summary) what.push_back(*e.summary);
    if (e.typical) what.push_back(*e.typical + ".");
    pane.sections.emplace_back(explainText::whatItDoes, what);
    if (!e.whyHigh.empty()) pane.sections.emplace_back(explainText::whyBusy, e.whyHigh);
    if (!e.whatToDo.empty()) pane.sections.emplace_back(explainText::whatToDo, e.whatToDo);
    std::vector<std::string> safety{e.safetyTitle + (e.safetyNote ? ". " + *e.safetyNote : std::string("."))};
    pane.sections.emplace_back("Quitting", safety);
    pane.sections.emplace_back("Made by", std::vector<std::string>{madeBy.empty() ? "Looking it up\u2026" : madeBy});
    if (!command.empty()) pane.sections.emplace_back("Command line", std::vector<std::string>{command});
    if (!processRow && e.processes.size() > 1) {
        std::vector<std::string> members;
        for (const Explanation::Process& p : e.processes)
            members.push_back(std::to_string(p.pid) + "  " + p.name + "  " + p.figures);
        pane.sections.emplace_back(explainText::processes, members);
    }
    if (e.webURL) pane.sections.emplace_back(explainText::learnMore, std::vector<std::string>{*e.webURL});
    pane.cpu = recent.cpu(row.id);
    pane.memory = recent.memory(row.id);
    return pane;
}

}  // namespace qm::cli::live
