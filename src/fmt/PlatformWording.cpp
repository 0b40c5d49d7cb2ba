#include "fmt/PlatformWording.h"

#include <array>
#include <cctype>
#include <set>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

namespace qm {

namespace {

bool isWordChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

// Whole-word replacements; at one position the first that matches wins, so longer
// phrases come before the words they contain.
// Linux desktops show the program's icon in the system tray (a panel's status area),
// not a menu bar.
constexpr std::array<std::pair<std::string_view, std::string_view>, 11> kReplacements{{
    {"menu bar", "system tray"},
    {"Menu bar", "System tray"},
    {"your Mac's", "your computer's"},
    {"Your Mac's", "Your computer's"},
    {"Spotlight is indexing", "The file indexer is busy"},
    {"Spotlight indexing", "file indexing"},
    {"Spotlight", "the file indexer"},
    {"macOS", "the system"},
    {"Macs", "computers"},
    {"Mac", "computer"},
    {"to the SSD", "to disk"},
}};

bool startsSentence(const std::string& out) {
    size_t back = out.find_last_not_of(' ');
    return back == std::string::npos || out[back] == '.' || out[back] == '\n' || out[back] == ':' || out[back] == '(' ||
           out[back] == '"';
}

}  // namespace

std::string linuxWording(const std::string& text) {
    std::string out;
    out.reserve(text.size() + 16);
    size_t i = 0;
    while (i < text.size()) {
        bool replaced = false;
        if (i == 0 || !isWordChar(text[i - 1])) {
            for (auto [from, to] : kReplacements) {
                if (text.compare(i, from.size(), from) != 0) continue;
                const size_t end = i + from.size();
                if (end < text.size() && isWordChar(text[end])) continue;
                std::string replacement(to);
                // A sentence that starts with the word keeps its capital letter.
                if (startsSentence(out))
                    replacement[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(replacement[0])));
                out += replacement;
                i = end;
                replaced = true;
                break;
            }
        }
        if (!replaced) out += text[i++];
    }
    return out;
}

std::string forThisPlatform(const std::string& text) {
#ifdef __APPLE__
    return text;
#else
    return linuxWording(text);
#endif
}

std::string symbolForThisPlatform(const std::string& symbol) {
#ifdef __APPLE__
    return symbol;
#else
    return symbol == "apple.logo" ? "desktopcomputer" : symbol;
#endif
}

TimelineEvent forThisPlatform(TimelineEvent event) {
    event.title = forThisPlatform(event.title);
    event.detail = forThisPlatform(event.detail);
    return event;
}

void rewordForThisPlatform(nlohmann::json& document) {
#ifdef __APPLE__
    (void)document;
#else
    // Keys whose values identify something: rewording them would change the data.
    static const std::set<std::string, std::less<>> identifying{"id",           "key",      "groupID",   "group",
                                                                "appKey",       "appName",  "name",      "path",
                                                                "url",          "webURL",   "command",   "commandLine",
                                                                "exe",          "database", "file",      "process",
                                                                "settingsFile", "bundleID", "bundlePath"};
    if (document.is_object()) {
        for (auto& [key, value] : document.items()) {
            if (value.is_string()) {
                if (key == "symbol")
                    value = symbolForThisPlatform(value.get<std::string>());
                else if (!identifying.contains(key))
                    value = linuxWording(value.get<std::string>());
            } else {
                rewordForThisPlatform(value);
            }
        }
    } else if (document.is_array()) {
        for (auto& value : document) {
            if (value.is_string())
                value = linuxWording(value.get<std::string>());
            else
                rewordForThisPlatform(value);
        }
    }
#endif
}

}  // namespace qm
