#include "core/Utf8.h"

namespace qm {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

// Length of the well-formed sequence starting at `at`, or 0 when it is ill-formed;
// `subpart` is then the length of its maximal ill-formed subpart (at least 1).
size_t sequenceLength(std::string_view text, size_t at, size_t& subpart) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    subpart = 1;
    if (lead < 0x80) return 1;
    size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;  // allowed range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) low = 0xA0;   // no overlong forms
        if (lead == 0xED) high = 0x9F;  // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) low = 0x90;   // no overlong forms
        if (lead == 0xF4) high = 0x8F;  // nothing above U+10FFFF
    } else {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if (at + i >= text.size()) return 0;
        const unsigned char next = byte(at + i);
        const bool fits = i == 1 ? next >= low && next <= high : next >= 0x80 && next <= 0xBF;
        if (!fits) return 0;
        subpart = i + 1;
    }
    return length;
}

}  // namespace

bool isValidUtf8(std::string_view text) {
    size_t subpart = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t length = sequenceLength(text, at, subpart);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

std::string validUtf8(std::string_view text) {
    if (isValidUtf8(text)) return std::string(text);
    std::string out;
    out.reserve(text.size() + 8);
    size_t subpart = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t length = sequenceLength(text, at, subpart);
        if (length == 0) {
            out += replacement;
            at += subpart;
        } else {
            out.append(text, at, length);
            at += length;
        }
    }
    return out;
}

}  // namespace qm
