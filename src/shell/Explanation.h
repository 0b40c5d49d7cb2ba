// What the explanation panel beside the apps table says about the selected group or
// process: the library's plain-language entry (what it is, why it can be busy, what to
// do, whether it is safe to quit, its web page), and the processes behind the row.
// A group the library does not know still gets its name, kind and processes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"
#include "knowledge/Insights.h"
#include "knowledge/ProcessEntry.h"

namespace qm {

struct Explanation {
    struct Process {
        int32_t pid = 0;
        std::string name;
        std::string figures;  // "12% · 340 MB", with "≈" when estimated
        bool approximate = false;
        bool restricted = false;  // another user's
    };

    std::string title;     // the library's title, else the group's (or process's) name
    std::string subtitle;  // "Firefox · Apps · 12 processes", "pid 4242 in Firefox"
    bool known = false;    // the library has an entry
    std::string oneLiner;  // the entry's, or the unknown text
    std::optional<std::string> summary;
    std::vector<std::string> whyHigh;
    std::vector<std::string> whatToDo;
    std::optional<std::string> typical;  // "Typically 1–5 % CPU, 50–200 MB"
    ProcessEntry::Safety safety = ProcessEntry::Safety::unknown;
    std::string safetyTitle;
    std::optional<std::string> safetyNote;
    Insights::Tone safetyTone = Insights::Tone::secondary;
    std::optional<std::string> webURL;
    std::vector<Process> processes;  // the selected process alone, or the group's, busiest first
};

// The panel for a group, or for one of its processes when `pid` names one.
// `entry` is the library's answer for the group, `processEntry` its answer for the
// selected process's own name (either may be null). A process is titled by its own
// entry or name, and explained by its own entry, else by its group's.
Explanation explain(const AppGroup& group, std::optional<int32_t> pid, const ProcessEntry* entry,
                    const ProcessEntry* processEntry = nullptr);

// "Safe to quit", "Quit with care", "Don't quit", "No advice on quitting".
std::string safetyTitle(ProcessEntry::Safety safety);
Insights::Tone safetyTone(ProcessEntry::Safety safety);

// One process's figures as the panel lists them: "12% · 340 MB", "≈ 3% · 12 MB".
std::string processFigures(const ProcessSample& process);

// A process's argument area (arguments separated by NUL bytes) as one readable line,
// cut at `limit` characters with an ellipsis; empty when there are no arguments.
std::string commandLineText(const std::string& raw, size_t limit = 400);

namespace explainText {
inline constexpr const char* unknown =
    "Not in Quillmere's library yet. Its name, maker and the processes below are all that is known.";
inline constexpr const char* whatItDoes = "What it does";
inline constexpr const char* whyBusy = "Why it can be busy";
inline constexpr const char* whatToDo = "What to do";
inline constexpr const char* processes = "Processes";
inline constexpr const char* learnMore = "Learn more";
inline constexpr const char* nothingSelected =
    "Select an app or process to see what it is and whether it is safe to quit.";
inline constexpr const char* approximateMark = "\u2248";
}  // namespace explainText

}  // namespace qm
