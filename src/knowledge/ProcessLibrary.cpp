#include "knowledge/ProcessLibrary.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

#include "core/FileRead.h"
#include "core/Log.h"
#include "knowledge/ExecutablePath.h"
#include "knowledge/TextCase.h"

// The shipped library file as raw string pieces, written at build time by
// cmake/EmbedLibrary.cmake.
namespace qm::embedded {
extern const std::string_view libraryChunks[];
extern const std::size_t libraryChunkCount;
}  // namespace qm::embedded

namespace qm {

// One entry of the patterns list with its expression, compiled once at load.
struct ProcessLibrary::Pattern {
    ProcessEntry entry;
    std::unique_ptr<icu::RegexPattern> regex;  // only for "regex" entries that compile
};

// ---------------------------------------------------------------------------------
// Decoding: keys exactly as written, unknown keys ignored, null reads as absent; a
// missing required key or a value of the wrong type rejects the whole file.

namespace {

using Json = nlohmann::json;

struct DecodeFailure {
    std::string message;
};

class Decoder {
public:
    Decoder(const Json& object, std::string where) : object_(object), where_(std::move(where)) {}

    std::string required(const char* key) const {
        auto value = optional(key);
        if (!value) fail(std::string("missing key \"") + key + "\"");
        return *value;
    }

    std::optional<std::string> optional(const char* key) const {
        const Json* value = find(key);
        if (!value) return std::nullopt;
        if (!value->is_string()) mismatch(key, "a string", *value);
        return value->get<std::string>();
    }

    std::vector<std::string> strings(const char* key) const {
        std::vector<std::string> out;
        const Json* value = find(key);
        if (!value) return out;
        if (!value->is_array()) mismatch(key, "a list of strings", *value);
        out.reserve(value->size());
        for (const Json& item : *value) {
            if (!item.is_string()) mismatch(key, "a list of strings", item);
            out.push_back(item.get<std::string>());
        }
        return out;
    }

    // A nested object, or null when absent.
    const Json* object(const char* key) const {
        const Json* value = find(key);
        if (value && !value->is_object()) mismatch(key, "an object", *value);
        return value;
    }

    const Json* find(const char* key) const {
        auto it = object_.find(key);
        if (it == object_.end() || it->is_null()) return nullptr;
        return &*it;
    }

    [[noreturn]] void fail(const std::string& what) const { throw DecodeFailure{what + " in " + where_}; }

private:
    [[noreturn]] void mismatch(const char* key, const char* expected, const Json& found) const {
        fail(std::string("key \"") + key + "\" should be " + expected + " but holds " + found.type_name());
    }

    const Json& object_;
    std::string where_;
};

ProcessEntry decodeEntry(const Json& json, const std::string& where) {
    if (!json.is_object()) throw DecodeFailure{where + " should be an object but is " + json.type_name()};
    // Name the entry by its id in messages once it is known.
    std::string named = where;
    if (auto it = json.find("id"); it != json.end() && it->is_string())
        named += " (id \"" + it->get<std::string>() + "\")";
    Decoder d(json, named);

    ProcessEntry e;
    e.id = d.required("id");
    e.names = d.strings("names");
    e.title = d.required("title");
    e.category = d.optional("category");
    e.vendor = d.optional("vendor");
    e.oneLiner = d.required("oneLiner");
    e.summary = d.optional("summary");
    e.whyHigh = d.strings("whyHigh");
    e.whatToDo = d.strings("whatToDo");
    e.safeToQuit = d.optional("safeToQuit");
    e.safeToQuitNote = d.optional("safeToQuitNote");
    if (const Json* typical = d.object("typical")) {
        Decoder t(*typical, named + " typical");
        e.typical = ProcessEntry::Typical{t.optional("cpu"), t.optional("memory")};
    }
    e.related = d.strings("related");
    e.keywords = d.strings("keywords");
    if (const Json* match = d.object("match")) {
        Decoder m(*match, named + " match");
        e.match = ProcessEntry::Match{m.required("type"), m.required("value")};
    }
    return e;
}

std::vector<ProcessEntry> decodeList(const Json& root, const char* key, bool required) {
    std::vector<ProcessEntry> out;
    auto it = root.find(key);
    if (it == root.end() || it->is_null()) {
        if (required) throw DecodeFailure{std::string("missing key \"") + key + "\" at the top level"};
        return out;
    }
    if (!it->is_array())
        throw DecodeFailure{std::string("key \"") + key + "\" should be a list but holds " + it->type_name()};
    out.reserve(it->size());
    for (size_t i = 0; i < it->size(); ++i)
        out.push_back(decodeEntry((*it)[i], std::string(key) + "[" + std::to_string(i) + "]"));
    return out;
}

std::unique_ptr<icu::RegexPattern> compile(const std::string& expression) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    std::unique_ptr<icu::RegexPattern> pattern(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(expression), 0, parseError, status));
    if (U_FAILURE(status)) return nullptr;
    return pattern;
}

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

std::string& installedDataDirectory() {
    static std::string directory = "/usr/local/share/quillmere";
    return directory;
}

}  // namespace

// ---------------------------------------------------------------------------------

std::string_view rawValue(ProcessEntry::Safety safety) {
    switch (safety) {
        case ProcessEntry::Safety::safe: return "safe";
        case ProcessEntry::Safety::caution: return "caution";
        case ProcessEntry::Safety::unsafe: return "unsafe";
        case ProcessEntry::Safety::unknown: break;
    }
    return "unknown";
}

ProcessEntry::Safety ProcessEntry::safety() const {
    if (!safeToQuit) return Safety::unknown;
    const std::string verdict = lowercased(*safeToQuit);
    if (verdict == "yes") return Safety::safe;
    if (verdict == "caution") return Safety::caution;
    if (verdict == "no") return Safety::unsafe;
    return Safety::unknown;
}

std::string ProcessEntry::webURL() const { return std::string(kProcessPagesPrefix) + id; }

ProcessLibrary::ProcessLibrary() = default;
ProcessLibrary::ProcessLibrary(ProcessLibrary&&) noexcept = default;
ProcessLibrary& ProcessLibrary::operator=(ProcessLibrary&&) noexcept = default;
ProcessLibrary::~ProcessLibrary() = default;

void ProcessLibrary::setInstalledDataDirectory(std::string directory) {
    if (!directory.empty()) installedDataDirectory() = std::move(directory);
}

std::vector<std::string> ProcessLibrary::candidatePaths() {
    std::vector<std::string> paths;
    if (const char* env = std::getenv("QUILLMERE_LIBRARY"); env && *env) paths.emplace_back(env);
    if (auto dir = executableDirectory()) {
        paths.push_back(*dir + "/processes.json");
#ifdef __APPLE__
        paths.push_back(*dir + "/../Resources/processes.json");  // inside the app bundle
#endif
    }
    paths.push_back(installedDataDirectory() + "/processes.json");
    paths.emplace_back("/usr/share/quillmere/processes.json");
    return paths;
}

ProcessLibrary& ProcessLibrary::shared() {
    static ProcessLibrary library = load(candidatePaths());
    return library;
}

ProcessLibrary ProcessLibrary::load(const std::vector<std::string>& candidates) {
    for (const std::string& path : candidates)
        if (pathExists(path)) return fromFile(path);
    return builtIn();
}

ProcessLibrary ProcessLibrary::builtIn() { return fromJSON(builtInText()); }

const std::string& ProcessLibrary::builtInText() {
    static const std::string text = [] {
        std::string joined;
        for (std::size_t i = 0; i < embedded::libraryChunkCount; ++i) joined += embedded::libraryChunks[i];
        return joined;
    }();
    return text;
}

ProcessLibrary ProcessLibrary::fromFile(const std::string& path) {
    // The shipped file is well under a megabyte; allow generous room for local additions.
    auto text = readFile(path, 64 << 20);
    if (!text) return ProcessLibrary();
    return fromJSON(*text);
}

ProcessLibrary ProcessLibrary::fromJSON(std::string_view text) {
    ProcessLibrary library;
    if (auto error = decode(text, library)) logLine("process library failed to load: " + *error);
    return library;
}

std::optional<std::string> ProcessLibrary::decode(std::string_view text, ProcessLibrary& out) {
    out = ProcessLibrary();
    ProcessLibrary library;
    std::vector<ProcessEntry> patternEntries;
    try {
        const Json root = Json::parse(text);
        if (!root.is_object()) return std::string("the file should hold an object but holds ") + root.type_name();
        if (auto version = root.find("version"); version != root.end() && !version->is_null()) {
            const bool integral =
                version->is_number_integer() ||
                (version->is_number_float() && std::floor(version->get<double>()) == version->get<double>());
            if (!integral) return std::string("key \"version\" should be an integer but holds ") + version->type_name();
        }
        library.entries_ = decodeList(root, "processes", true);
        patternEntries = decodeList(root, "patterns", false);
    } catch (const DecodeFailure& failure) {
        return failure.message;
    } catch (const std::exception& error) {  // the JSON parser's syntax errors
        return std::string(error.what());
    }

    library.patterns_.reserve(patternEntries.size());
    for (ProcessEntry& entry : patternEntries) {
        Pattern pattern{std::move(entry), nullptr};
        if (pattern.entry.match && pattern.entry.match->type == "regex")
            pattern.regex = compile(pattern.entry.match->value);  // null: never matches
        library.patterns_.push_back(std::move(pattern));
    }
    library.index();
    out = std::move(library);
    return std::nullopt;
}

void ProcessLibrary::index() {
    searchText_.reserve(entries_.size());
    for (size_t i = 0; i < entries_.size(); ++i) {
        const ProcessEntry& e = entries_[i];
        byID_[e.id] = i;
        SearchText text{lowercased(e.title), lowercased(e.oneLiner), {}};
        for (const std::string& name : e.names) {
            // An exact spelling reaches the last entry that claims it; a case-folded
            // key keeps to the first.
            byName_[name] = i;
            std::string lower = lowercased(name);
            byName_.try_emplace(lower, i);
            text.names.push_back(std::move(lower));
        }
        searchText_.push_back(std::move(text));
    }
}

const ProcessEntry* ProcessLibrary::byNameOnly(std::string_view name) const {
    // Both keys are std::string; heterogeneous lookup would need a custom hash.
    std::string key(name);
    if (auto it = byName_.find(key); it != byName_.end()) return &entries_[it->second];
    key = lowercased(name);
    if (auto it = byName_.find(key); it != byName_.end()) return &entries_[it->second];
    return nullptr;
}

const ProcessEntry* ProcessLibrary::byPattern(std::string_view name) const {
    std::optional<icu::UnicodeString> unicode;  // converted once, on the first regex
    for (const Pattern& pattern : patterns_) {
        if (!pattern.entry.match) continue;
        const ProcessEntry::Match& match = *pattern.entry.match;
        bool accepted = false;
        if (match.type == "exact") {
            accepted = name == match.value;
        } else if (match.type == "prefix") {
            accepted = name.substr(0, match.value.size()) == match.value;
        } else if (match.type == "suffix") {
            accepted = endsWith(name, match.value);
        } else if (match.type == "contains") {
            accepted = name.find(match.value) != std::string_view::npos;
        } else if (match.type == "regex" && pattern.regex) {
            if (!unicode) unicode = icu::UnicodeString::fromUTF8(icu::StringPiece(name.data(), int32_t(name.size())));
            UErrorCode status = U_ZERO_ERROR;
            std::unique_ptr<icu::RegexMatcher> matcher(pattern.regex->matcher(*unicode, status));
            accepted = U_SUCCESS(status) && matcher->find(status) && U_SUCCESS(status);
        }
        if (accepted) return &pattern.entry;
    }
    return nullptr;
}

const ProcessEntry* ProcessLibrary::lookup(std::string_view name, bool allowPatterns) const {
    if (const ProcessEntry* hit = byNameOnly(name)) return hit;
    return allowPatterns ? byPattern(name) : nullptr;
}

const ProcessEntry* ProcessLibrary::lookup(const AppGroup& group) const {
    // A Linux desktop app (its bundle is a .desktop file) is never explained by an
    // entry made by Apple: "Terminal", "Music" or "Photos" on a Linux desktop are the
    // desktop's own apps, which its desktop-file id (org.gnome.Terminal) identifies.
    const bool desktopApp = group.bundlePath && endsWith(*group.bundlePath, ".desktop");
    auto lookupApp = [&](std::string_view name) -> const ProcessEntry* {
        const ProcessEntry* hit = lookup(name, false);
        return hit && desktopApp && hit->vendor == "Apple" ? nullptr : hit;
    };
    if (const ProcessEntry* hit = lookupApp(group.name)) return hit;

    if (group.bundlePath) {
        // ".../Foo.app" (or ".../Foo.app/") gives "Foo"; ".../org.gnome.Terminal.desktop"
        // gives "org.gnome.Terminal".
        std::string_view path = *group.bundlePath;
        while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
        if (auto slash = path.rfind('/'); slash != std::string_view::npos) path.remove_prefix(slash + 1);
        if (auto dot = path.rfind('.'); dot != std::string_view::npos && dot > 0) path = path.substr(0, dot);
        if (!path.empty())
            if (const ProcessEntry* hit = lookupApp(path)) return hit;
    }

    // Apps are known by their own names only, never by a family pattern.
    if (group.kind == ProcessKind::app) return nullptr;

    std::vector<const ProcessSample*> byPid;
    byPid.reserve(group.processes.size());
    for (const ProcessSample& p : group.processes) byPid.push_back(&p);
    const size_t tried = std::min<size_t>(3, byPid.size());
    std::partial_sort(byPid.begin(), byPid.begin() + tried, byPid.end(),
                      [](const ProcessSample* a, const ProcessSample* b) { return a->pid < b->pid; });
    for (size_t i = 0; i < tried; ++i)
        if (const ProcessEntry* hit = byNameOnly(byPid[i]->name)) return hit;

    return lookup(group.processes.empty() ? group.name : group.processes.front().name, true);
}

const ProcessEntry* ProcessLibrary::entry(std::string_view id) const {
    auto it = byID_.find(std::string(id));
    return it == byID_.end() ? nullptr : &entries_[it->second];
}

std::vector<const ProcessEntry*> ProcessLibrary::search(std::string_view query) const {
    std::vector<const ProcessEntry*> out;
    const std::string q = lowercased(query);
    for (size_t i = 0; i < entries_.size(); ++i) {
        const SearchText& text = searchText_[i];
        bool hit = q.empty() || text.title.find(q) != std::string::npos || text.oneLiner.find(q) != std::string::npos;
        for (size_t n = 0; !hit && n < text.names.size(); ++n) hit = text.names[n].find(q) != std::string::npos;
        if (hit) out.push_back(&entries_[i]);
    }
    return out;
}

size_t ProcessLibrary::patternCount() const { return patterns_.size(); }

const ProcessEntry* ProcessLibrary::patternEntry(size_t index) const {
    return index < patterns_.size() ? &patterns_[index].entry : nullptr;
}

bool ProcessLibrary::patternCompiled(size_t index) const {
    return index < patterns_.size() && patterns_[index].regex != nullptr;
}

}  // namespace qm
