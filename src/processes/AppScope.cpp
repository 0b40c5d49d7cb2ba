#include "processes/AppScope.h"

#include <algorithm>

#include "core/FileRead.h"

namespace qm {

namespace {
bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    while (true) {
        size_t end = text.find(separator, start);
        if (end == std::string_view::npos) {
            parts.push_back(text.substr(start));
            return parts;
        }
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
}

bool isHex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

// The random part launchers append: a number, or a long hex string.
bool looksRandom(std::string_view part) {
    if (part.empty() || !std::all_of(part.begin(), part.end(), isHex)) return false;
    bool digits = std::all_of(part.begin(), part.end(), [](char c) { return c >= '0' && c <= '9'; });
    return digits || part.size() >= 8;
}

std::string join(const std::vector<std::string_view>& parts, size_t from, size_t to) {
    std::string out;
    for (size_t i = from; i < to; ++i) {
        if (i > from) out += '-';
        out += unescapeUnitName(parts[i]);
    }
    return out;
}

void addCandidate(std::vector<std::string>& ids, std::string id) {
    if (!id.empty() && std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(std::move(id));
}

// "app-<...>.scope" or "app-<...>.service": the ids, most likely first. Dashes inside
// an id are escaped by well-behaved launchers, so plain dashes separate launcher,
// id and random part; the less likely readings cover launchers that do not escape.
std::vector<std::string> appUnitCandidates(std::string_view unit) {
    bool scope = endsWith(unit, ".scope");
    std::string_view body = unit.substr(4, unit.size() - 4 - (scope ? 6 : 8));
    if (!scope) body = body.substr(0, body.find('@'));
    auto parts = split(body, '-');
    std::erase_if(parts, [](std::string_view p) { return p.empty(); });
    std::vector<std::string> ids;
    size_t n = parts.size();
    bool randomTail = scope && n >= 2 && looksRandom(parts[n - 1]);
    size_t end = randomTail ? n - 1 : n;  // parts before the random tail
    if (end == 0) return ids;
    // launcher-id (the usual form), then id alone, then unescaped dashes kept in the id.
    if (end >= 2) addCandidate(ids, join(parts, end - 1, end));
    if (end >= 3) addCandidate(ids, join(parts, 1, end));
    if (end == 1) addCandidate(ids, join(parts, 0, 1));
    addCandidate(ids, join(parts, 0, end));
    return ids;
}

// "snap.<name>.<app>-<uuid>.scope": desktop files are named <name>_<app>.desktop.
std::vector<std::string> snapCandidates(std::string_view unit) {
    std::string_view body = unit.substr(5, unit.size() - 5 - 6);
    auto dot = body.find('.');
    if (dot == std::string_view::npos || dot == 0) return {};
    std::string_view name = body.substr(0, dot);
    std::string_view app = body.substr(dot + 1);
    // The uuid is 36 characters with its own dashes; older snapd used a plain number.
    if (app.size() > 37 && app[app.size() - 37] == '-')
        app = app.substr(0, app.size() - 37);
    else if (auto dash = app.rfind('-'); dash != std::string_view::npos && looksRandom(app.substr(dash + 1)))
        app = app.substr(0, dash);
    if (app.empty()) return {};
    std::vector<std::string> ids;
    addCandidate(ids, std::string(name) + "_" + std::string(app));
    if (app == name) addCandidate(ids, std::string(name));
    return ids;
}
}  // namespace

std::string systemdCgroupPath(std::string_view cgroupFile) {
    std::string unified, named;
    for (auto line : splitLines(cgroupFile)) {
        // hierarchy-id:controllers:path; the path itself may contain ':'.
        auto first = line.find(':');
        if (first == std::string_view::npos) continue;
        auto second = line.find(':', first + 1);
        if (second == std::string_view::npos) continue;
        auto id = line.substr(0, first);
        auto controllers = line.substr(first + 1, second - first - 1);
        auto path = line.substr(second + 1);
        if (id == "0" && controllers.empty())
            unified = std::string(path);
        else if (controllers == "name=systemd")
            named = std::string(path);
    }
    if (!unified.empty() && unified != "/") return unified;
    return named.empty() ? unified : named;
}

std::string unescapeUnitName(std::string_view name) {
    std::string out;
    out.reserve(name.size());
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '\\' && i + 3 < name.size() && name[i + 1] == 'x' && isHex(name[i + 2]) && isHex(name[i + 3])) {
            out += static_cast<char>(std::stoi(std::string(name.substr(i + 2, 2)), nullptr, 16));
            i += 3;
        } else {
            out += name[i];
        }
    }
    return out;
}

std::optional<AppScope> appScopeOf(std::string_view cgroupPath) {
    auto components = split(cgroupPath, '/');
    for (auto it = components.rbegin(); it != components.rend(); ++it) {
        std::string_view unit = *it;
        std::vector<std::string> ids;
        bool scope = endsWith(unit, ".scope");
        if (unit.starts_with("app-") && (scope || endsWith(unit, ".service")))
            ids = appUnitCandidates(unit);
        else if (unit.starts_with("snap.") && scope && unit.size() > 11)
            ids = snapCandidates(unit);
        if (!ids.empty()) return AppScope{std::string(unit), std::move(ids)};
    }
    return std::nullopt;
}

bool isSystemServiceCgroup(std::string_view cgroupPath) {
    return cgroupPath.starts_with("/system.slice/") || cgroupPath == "/system.slice" || cgroupPath == "/init.scope";
}

}  // namespace qm
