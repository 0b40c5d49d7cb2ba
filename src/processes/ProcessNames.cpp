#include "processes/ProcessNames.h"

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

double parseCPUTime(std::string_view text) {
    text = trim(text);
    double total = 0;
    if (auto dash = text.find('-'); dash != std::string_view::npos) {
        total = parseDouble(text.substr(0, dash)).value_or(0) * 86'400;
        text = text.substr(dash + 1);
    }
    double clock = 0;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(':', start);
        if (end == std::string_view::npos) end = text.size();
        clock = clock * 60 + parseDouble(text.substr(start, end - start)).value_or(0);
        start = end + 1;
    }
    return total + clock;
}

}  // namespace qm
