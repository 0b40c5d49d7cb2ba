#include "processes/ProcessNames.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/FileRead.h"

namespace qm {

bool looksLikeVersion(std::string_view name) {
    if (name.empty() || name[0] < '0' || name[0] > '9') return false;
    for (char c : name) {
        bool digit = c >= '0' && c <= '9';
        if (!digit && c != '.' && c != '-' && c != '_') return false;
    }
    return true;
}

static std::vector<std::string_view> pathParts(std::string_view path) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string_view::npos) end = path.size();
        if (end > start) parts.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

std::string lastPathComponent(std::string_view path) {
    auto parts = pathParts(path);
    return parts.empty() ? std::string() : std::string(parts.back());
}

std::optional<std::string> friendlyName(const std::optional<std::string>& argumentExecutable, std::string_view path) {
    if (argumentExecutable) {
        std::string name = lastPathComponent(*argumentExecutable);
        if (!name.empty() && !looksLikeVersion(name)) return name;
    }
    // Version managers keep each release at <tool>/versions/<version>.
    auto parts = pathParts(path);
    if (parts.size() >= 3 && parts[parts.size() - 2] == "versions") return std::string(parts[parts.size() - 3]);
    return std::nullopt;
}

std::string baseProcessName(int32_t pid, std::string_view path, std::string_view comm) {
    std::string name = path.empty() ? std::string(comm) : lastPathComponent(path);
    if (name.empty()) name = "Process " + std::to_string(pid);
    return name;
}

namespace {

// One field of a CPU time: a number of days, hours, minutes or seconds, never negative.
double timeField(std::string_view text) { return std::max(0.0, parseDouble(text).value_or(0)); }

}  // namespace

double parseCPUTime(std::string_view text) {
    text = trim(text);
    double total = 0;
    if (auto dash = text.find('-'); dash != std::string_view::npos) {
        total = timeField(text.substr(0, dash)) * 86'400;
        text = text.substr(dash + 1);
    }
    // Hours, minutes and seconds at most: a longer chain is not ps's, and would grow
    // without bound by the repeated multiplication.
    if (std::count(text.begin(), text.end(), ':') > 2) return 0;
    double clock = 0;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(':', start);
        if (end == std::string_view::npos) end = text.size();
        clock = clock * 60 + timeField(text.substr(start, end - start));
        start = end + 1;
    }
    const double seconds = total + clock;
    return std::isfinite(seconds) ? seconds : 0;  // absurd day counts overflow
}

}  // namespace qm
