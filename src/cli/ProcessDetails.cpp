#include "cli/ProcessDetails.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

#include "core/FileRead.h"
#include "core/Utf8.h"

namespace qm::cli {

size_t displayWidth(const std::string& text) {
    size_t chars = 0;
    for (unsigned char c : text) chars += (c & 0xC0) != 0x80;
    return chars;
}

std::string cell(const std::string& raw, size_t width) {
    // Names are bytes anyone can choose: ill-formed UTF-8 becomes U+FFFD, one column
    // each, so a terminal never draws escape notation that breaks the alignment.
    const std::string text = validUtf8(raw);
    const bool cut = displayWidth(text) > width;
    const size_t keep = cut && width > 0 ? width - 1 : width;
    std::string out;
    size_t shown = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        const bool continuation = (c & 0xC0) == 0x80;
        if (!continuation) {
            if (shown == keep) break;
            ++shown;
        }
        out += c < 0x20 || c == 0x7F ? '?' : text[i];
    }
    if (cut && width > 0) {
        out += "\u2026";
        ++shown;
    }
    if (shown < width) out.append(width - shown, ' ');
    return out;
}

std::string rightAligned(const std::string& text, size_t width) {
    const size_t shown = displayWidth(text);
    return shown >= width ? text : std::string(width - shown, ' ') + text;
}

size_t outputWidth() {
    winsize size{};
    if (::isatty(STDOUT_FILENO) && ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    if (const char* columns = std::getenv("COLUMNS"))
        if (auto value = parseUInt(columns); value && *value > 0 && *value < 10000) return *value;
    return 0;
}

}  // namespace qm::cli
