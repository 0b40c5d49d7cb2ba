// The built-in knowledge base of known processes, read once from processes.json and
// then only queried (on the interface thread).
//
// The shared library's file is the first of these that exists:
//   1. $QUILLMERE_LIBRARY (a path to the file itself);
//   2. processes.json next to the running executable (on macOS also the app bundle's
//      Contents/Resources/processes.json);
//   3. processes.json in the installed data directory: the one set with
//      setInstalledDataDirectory() (the command line passes its QUILLMERE_DATADIR),
//      else /usr/local/share/quillmere;
//   4. /usr/share/quillmere/processes.json.
// No file at all: the copy compiled into the program (the shipped processes.json as it
// was at build time), so a moved binary still knows its processes. A file that cannot
// be read: an empty library, silently. A file that does not decode: one log line
// "Quillmere: process library failed to load: <reason>" and an empty library. Nothing
// here throws.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/Snapshot.h"
#include "knowledge/ProcessEntry.h"

namespace qm {

class ProcessLibrary {
public:
    // The one instance, loaded on first use from the first file found (see above).
    static ProcessLibrary& shared();
    // Where the installed data directory is; takes effect only before shared() is
    // first used.
    static void setInstalledDataDirectory(std::string directory);
    // The files shared() tries, in order.
    static std::vector<std::string> candidatePaths();
    // The first of the files that exists, else the built-in copy.
    static ProcessLibrary load(const std::vector<std::string>& candidates);
    // The library compiled into the program, and its text.
    static ProcessLibrary builtIn();
    static const std::string& builtInText();

    // An empty library.
    ProcessLibrary();
    // Loads from a file; missing or unreadable gives an empty library silently.
    static ProcessLibrary fromFile(const std::string& path);
    // Decodes library JSON; on failure logs the one line and stays empty.
    static ProcessLibrary fromJSON(std::string_view text);
    // Decodes library JSON; on failure returns the reason and leaves `out` empty.
    static std::optional<std::string> decode(std::string_view text, ProcessLibrary& out);

    ProcessLibrary(ProcessLibrary&&) noexcept;
    ProcessLibrary& operator=(ProcessLibrary&&) noexcept;
    ~ProcessLibrary();

    // Every entry of the file's processes list, in file order (pattern entries excluded).
    const std::vector<ProcessEntry>& entries() const { return entries_; }
    size_t count() const { return entries_.size(); }

    // By name: exact spelling first (the last entry listing it), then the lower-cased
    // name (the first entry whose name lowers to it); then, if allowed, the first
    // pattern (case-sensitive) accepting the name as given.
    const ProcessEntry* lookup(std::string_view name, bool allowPatterns) const;
    // The entry for one app group: its name, its bundle's name, and for non-app groups
    // its lowest-pid processes' names and finally the patterns. Apps never match by
    // pattern, and Linux desktop apps never by an entry made by Apple.
    const ProcessEntry* lookup(const AppGroup& group) const;
    // By id, exactly as written (a later duplicate id wins).
    const ProcessEntry* entry(std::string_view id) const;
    // Entries whose title, one-liner or any name contains the query, case-insensitively,
    // in file order; an empty query gives every entry.
    std::vector<const ProcessEntry*> search(std::string_view query) const;

    // The pattern entries in file order (for checking the shipped file).
    size_t patternCount() const;
    const ProcessEntry* patternEntry(size_t index) const;  // null past the end
    // Whether the pattern's regular expression compiled (false for non-regex types).
    bool patternCompiled(size_t index) const;

private:
    struct Pattern;
    struct SearchText {
        std::string title;
        std::string oneLiner;
        std::vector<std::string> names;
    };

    const ProcessEntry* byNameOnly(std::string_view name) const;
    const ProcessEntry* byPattern(std::string_view name) const;
    void index();

    std::vector<ProcessEntry> entries_;
    std::unordered_map<std::string, size_t> byName_;  // exact and lower-case keys
    std::unordered_map<std::string, size_t> byID_;
    std::vector<Pattern> patterns_;
    std::vector<SearchText> searchText_;  // lower-cased, parallel to entries_
};

}  // namespace qm
