#include "shell/StatusBarOutput.h"
#include "core/JsonText.h"

#include <nlohmann/json.hpp>

namespace qm {

std::string statusBarText(const MenuBarLabel& label) {
    if (label.lines.empty()) return "\u25C9";
    std::string text;
    for (const std::string& line : label.lines) text += (text.empty() ? "" : " ") + line;
    return text;
}

std::string plainStatusBarOutput(const MenuBarLabel& label) {
    std::string out;
    for (const std::string& line : label.lines) out += line + "\n";
    return out + label.tooltip + "\n";
}

std::string waybarOutput(const MenuBarLabel& label) {
    nlohmann::json out{
        {"text", statusBarText(label)},
        {"tooltip", label.tooltip},
        {"class", label.alert ? "alert" : "normal"},
    };
    // Replacing bad bytes rather than throwing: a status bar must always get a line.
    return jsonText(out) + "\n";
}

}  // namespace qm
