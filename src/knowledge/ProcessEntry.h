// One entry of the built-in process library: what a known app, daemon or agent is,
// why it can run high, what to do about it and whether it is safe to quit.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm {

struct ProcessEntry {
    // Typical usage, free texts shown as they stand ("1–5 %", "50–200 MB").
    struct Typical {
        std::optional<std::string> cpu;
        std::optional<std::string> memory;
        bool operator==(const Typical&) const = default;
    };

    // How a pattern entry recognises a process name: type is "exact", "prefix",
    // "suffix", "contains" or "regex" (ICU syntax); any other type never matches.
    struct Match {
        std::string type;
        std::string value;
        bool operator==(const Match&) const = default;
    };

    enum class Safety { safe, caution, unsafe, unknown };

    std::string id;                  // stable; the last path segment of the web page
    std::vector<std::string> names;  // process or executable names that identify it
    std::string title;
    std::optional<std::string> category;
    std::optional<std::string> vendor;
    std::string oneLiner;
    std::optional<std::string> summary;
    std::vector<std::string> whyHigh;
    std::vector<std::string> whatToDo;
    std::optional<std::string> safeToQuit;  // "yes", "caution" or "no", any case
    std::optional<std::string> safeToQuitNote;
    std::optional<Typical> typical;
    std::vector<std::string> related;  // ids of related entries
    std::vector<std::string> keywords;
    std::optional<Match> match;  // only for entries of the patterns list

    // The verdict from safeToQuit; absent or unrecognised text gives unknown.
    Safety safety() const;
    // The entry's page on our web site: the fixed prefix then the id, unescaped.
    std::string webURL() const;

    bool operator==(const ProcessEntry&) const = default;
};

// "safe", "caution", "unsafe", "unknown".
std::string_view rawValue(ProcessEntry::Safety safety);

// Where every entry's web page lives; webURL() appends the id.
inline constexpr std::string_view kProcessPagesPrefix = "https://quillmere.app/processes/";

}  // namespace qm
