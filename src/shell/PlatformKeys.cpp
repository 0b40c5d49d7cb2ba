#include "shell/PlatformKeys.h"

#include <array>
#include <string_view>
#include <utility>

#include "fmt/PlatformWording.h"

namespace qm {

std::string linuxKeys(const std::string& text) {
    // Longest first: "⌥⌘Q" is Ctrl+Alt+Q, not Alt+Ctrl+Q.
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 4> keys{{
        {"\u2325\u2318", "Ctrl+Alt+"},
        {"\u2318", "Ctrl+"},
        {"\u2325", "Alt+"},
        {"\u21E7", "Shift+"},
    }};
    std::string out;
    out.reserve(text.size() + 8);
    size_t i = 0;
    while (i < text.size()) {
        bool replaced = false;
        for (auto [from, to] : keys) {
            if (text.compare(i, from.size(), from) != 0) continue;
            out += to;
            i += from.size();
            replaced = true;
            break;
        }
        if (!replaced) out += text[i++];
    }
    return out;
}

std::string shownText(const std::string& text) {
#ifdef __APPLE__
    return text;
#else
    return linuxKeys(forThisPlatform(text));
#endif
}

}  // namespace qm
