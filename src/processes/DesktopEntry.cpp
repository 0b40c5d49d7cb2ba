#include "processes/DesktopEntry.h"

#include <algorithm>
#include <cctype>

#include "core/FileRead.h"

namespace qm {

namespace {
// Desktop-entry string escapes: \s \n \t \r \\.
std::string unescapeValue(std::string_view value) {
    std::string out;
    for (size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            out += value[i];
            continue;
        }
        char next = value[++i];
        out += next == 's' ? ' ' : next == 'n' ? '\n' : next == 't' ? '\t' : next == 'r' ? '\r' : next;
    }
    return out;
}

void addUnique(std::vector<std::string>& list, std::string dir) {
    while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
    if (!dir.empty() && dir[0] == '/' && std::find(list.begin(), list.end(), dir) == list.end())
        list.push_back(std::move(dir));
}
}  // namespace

namespace {
// The first non-empty untranslated value of `key` in the "[Desktop Entry]" group.
std::optional<std::string> desktopEntryValue(std::string_view text, std::string_view key) {
    bool inEntry = false;
    for (auto rawLine : splitLines(text)) {
        auto line = trim(rawLine);
        if (line.empty() || line[0] == '#') continue;
        if (line[0] == '[') {
            inEntry = line == "[Desktop Entry]";
            continue;
        }
        if (!inEntry) continue;
        auto equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        if (trim(line.substr(0, equals)) != key) continue;
        std::string value = unescapeValue(trim(line.substr(equals + 1)));
        if (!value.empty()) return value;
    }
    return std::nullopt;
}
}  // namespace

std::optional<std::string> desktopEntryName(std::string_view text) { return desktopEntryValue(text, "Name"); }

bool desktopEntryIsTerminal(std::string_view text) {
    auto categories = desktopEntryValue(text, "Categories");
    if (!categories) return false;
    std::string_view list = *categories;
    size_t start = 0;
    while (start < list.size()) {
        size_t end = std::min(list.find(';', start), list.size());
        if (trim(list.substr(start, end - start)) == "TerminalEmulator") return true;
        start = end + 1;
    }
    return false;
}

std::vector<std::string> xdgDataDirectories(const char* dataHome, const char* dataDirs, const std::string& home) {
    std::vector<std::string> dirs;
    if (dataHome && *dataHome)
        addUnique(dirs, dataHome);
    else if (!home.empty())
        addUnique(dirs, home + "/.local/share");
    std::string_view list = dataDirs && *dataDirs ? dataDirs : "/usr/local/share:/usr/share";
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(':', start);
        if (end == std::string_view::npos) end = list.size();
        addUnique(dirs, std::string(list.substr(start, end - start)));
        start = end + 1;
    }
    if (!home.empty()) addUnique(dirs, home + "/.local/share/flatpak/exports/share");
    addUnique(dirs, "/var/lib/flatpak/exports/share");
    addUnique(dirs, "/var/lib/snapd/desktop");
    return dirs;
}

DesktopFileIndex::DesktopFileIndex(std::vector<std::string> dataDirectories)
    : directories_(std::move(dataDirectories)) {}

std::optional<std::string> DesktopFileIndex::find(const std::string& appID) {
    if (auto cached = cache_.find(appID); cached != cache_.end()) return cached->second;
    std::optional<std::string> found;
    std::string lower = appID;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    // Exact ids first; some launchers report "Alacritty" for alacritty.desktop.
    for (const auto& id : {appID, lower}) {
        if (found || id.find('/') != std::string::npos || id.empty()) break;
        for (const auto& dir : directories_) {
            std::string path = dir + "/applications/" + id + ".desktop";
            if (pathExists(path)) {
                found = path;
                break;
            }
        }
    }
    cache_[appID] = found;
    return found;
}

}  // namespace qm
