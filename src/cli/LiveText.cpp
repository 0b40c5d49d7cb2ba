#include "cli/LiveText.h"

#include <cstdint>

#include "core/Utf8.h"

namespace qm::cli::live {

namespace {

struct Glyph {
    std::string_view bytes;
    size_t cells;
};

uint32_t decode(std::string_view s, size_t& i) {
    const auto c = static_cast<unsigned char>(s[i]);
    size_t length = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
    if (i + length > s.size()) length = 1;
    uint32_t cp = length == 1 ? c : length == 2 ? (c & 0x1F) : length == 3 ? (c & 0x0F) : (c & 0x07);
    for (size_t k = 1; k < length; ++k) cp = (cp << 6) | (static_cast<unsigned char>(s[i + k]) & 0x3F);
    i += length;
    return cp;
}

bool wide(uint32_t cp) {
    return (cp >= 0x1100 && cp <= 0x115F) || (cp >= 0x2E80 && cp <= 0xA4CF && cp != 0x303F) ||
           (cp >= 0xAC00 && cp <= 0xD7A3) || (cp >= 0xF900 && cp <= 0xFAFF) || (cp >= 0xFE30 && cp <= 0xFE4F) ||
           (cp >= 0xFF00 && cp <= 0xFF60) || (cp >= 0xFFE0 && cp <= 0xFFE6) || (cp >= 0x1F300 && cp <= 0x1F64F) ||
           (cp >= 0x1F900 && cp <= 0x1F9FF) || (cp >= 0x20000 && cp <= 0x3FFFD);
}

// Takes no cell of its own, moves the cursor, or reorders what follows.
bool unsafe(uint32_t cp) {
    return cp < 0x20 || (cp >= 0x7F && cp < 0xA0) || (cp >= 0x0300 && cp <= 0x036F) || cp == 0x00AD ||
           (cp >= 0x200B && cp <= 0x200F) || (cp >= 0x2028 && cp <= 0x202E) || (cp >= 0x2060 && cp <= 0x206F) ||
           (cp >= 0xFE00 && cp <= 0xFE0F) || cp == 0xFEFF;
}

// Calls `each` with every glyph of the safe form of `text`.
template <typename Each>
void glyphs(std::string_view raw, Each each) {
    const std::string text = validUtf8(raw);
    const std::string_view s = text;
    for (size_t i = 0; i < s.size();) {
        const size_t start = i;
        const uint32_t cp = decode(s, i);
        if (unsafe(cp))
            each(Glyph{"?", 1});
        else
            each(Glyph{s.substr(start, i - start), wide(cp) ? 2u : 1u});
    }
}

}  // namespace

size_t cellWidth(std::string_view text) {
    size_t cells = 0;
    glyphs(text, [&](const Glyph& g) { cells += g.cells; });
    return cells;
}

std::string fit(std::string_view text, size_t width) {
    const bool cut = cellWidth(text) > width;
    const size_t room = cut && width > 0 ? width - 1 : width;
    std::string out;
    size_t used = 0;
    bool full = false;
    glyphs(text, [&](const Glyph& g) {
        if (full || used + g.cells > room) {
            full = true;
            return;
        }
        out += g.bytes;
        used += g.cells;
    });
    if (cut && width > 0) {
        out += "\u2026";
        ++used;
    }
    if (used < width) out.append(width - used, ' ');
    return out;
}

std::string fitRight(std::string_view text, size_t width) {
    const size_t cells = cellWidth(text);
    if (cells >= width) return fit(text, width);
    return std::string(width - cells, ' ') + fit(text, cells);
}

std::vector<std::string> wrap(std::string_view text, size_t width) {
    std::vector<std::string> lines;
    if (width == 0) return lines;
    std::string line;
    size_t used = 0;
    size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && text[i] == ' ') ++i;
        size_t j = i;
        while (j < text.size() && text[j] != ' ') ++j;
        if (j == i) break;
        const std::string_view word = text.substr(i, j - i);
        const size_t cells = cellWidth(word);
        if (used > 0 && used + 1 + cells > width) {
            lines.push_back(line);
            line.clear();
            used = 0;
        }
        if (used > 0) {
            line += ' ';
            ++used;
        }
        const std::string piece = cells > width - used ? fit(word, width - used) : fit(word, cells);
        line += piece;
        used = cellWidth(line);
        i = j;
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

}  // namespace qm::cli::live
