#include "shell/PlatformWording.h"

#include <array>
#include <cctype>
#include <string_view>
#include <utility>

namespace qm {

namespace {

bool isWordChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

// Whole-word replacements, longest first so "macOS" is not read as "mac" + "OS".
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kReplacements{{
    {"your Mac's", "your computer's"},
    {"Your Mac's", "Your computer's"},
    {"macOS", "the system"},
    {"Mac", "computer"},
    {"Macs", "computers"},
}};

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
                size_t back = out.find_last_not_of(' ');
                const bool sentenceStart = back == std::string::npos || out[back] == '.' || out[back] == '\n';
                if (sentenceStart)
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

}  // namespace qm
