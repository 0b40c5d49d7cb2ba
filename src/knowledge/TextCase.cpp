#include "knowledge/TextCase.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace qm {

std::string lowercased(std::string_view text) {
    bool ascii = true;
    for (char c : text)
        if (static_cast<unsigned char>(c) >= 0x80) {
            ascii = false;
            break;
        }
    std::string out;
    if (ascii) {
        out.assign(text);
        for (char& c : out)
            if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
        return out;
    }
    // Invalid UTF-8 turns into replacement characters; that only affects matching.
    icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), int32_t(text.size())));
    unicode.toLower(icu::Locale::getRoot());
    unicode.toUTF8String(out);
    return out;
}

}  // namespace qm
