#include "core/JsonText.h"

#include <array>
#include <cmath>

namespace qm {

std::string jsonText(const nlohmann::json& value, int indent) {
    return value.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
}

void appendJsonString(std::string& out, std::string_view text) {
    // Almost every name is printable ASCII with nothing to escape: it goes out as it is.
    // Anything else (quotes, control characters, UTF-8, broken bytes) is left to the
    // serializer, so the escaping rules live in one place.
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x80 || c == '"' || c == '\\') {
            out += jsonText(nlohmann::json(std::string(text)));
            return;
        }
    }
    out += '"';
    out += text;
    out += '"';
}

void appendJsonNumber(std::string& out, double value) {
    if (!std::isfinite(value)) {
        out += "null";
        return;
    }
    // The same conversion dump() uses, so a number reads the same in every output.
    std::array<char, 64> digits{};
    const char* end = nlohmann::detail::to_chars(digits.data(), digits.data() + digits.size(), value);
    out.append(digits.data(), static_cast<size_t>(end - digits.data()));
}

}  // namespace qm
