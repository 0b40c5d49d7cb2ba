#include "core/TerminalText.h"

#include "core/Utf8.h"

namespace qm {

std::string terminalSafe(std::string_view text) {
    const std::string valid = validUtf8(text);
    std::string out;
    out.reserve(valid.size());
    for (size_t i = 0; i < valid.size(); ++i) {
        const auto c = static_cast<unsigned char>(valid[i]);
        if ((c < 0x20 && c != '\n' && c != '\t') || c == 0x7f) {
            out += '?';
        } else if (c == 0xc2 && i + 1 < valid.size() && static_cast<unsigned char>(valid[i + 1]) < 0xa0) {
            // U+0080 to U+009F: after validUtf8, 0xC2 is always followed by a continuation byte.
            out += '?';
            ++i;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

}  // namespace qm
