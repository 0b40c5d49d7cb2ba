#include "core/CsvField.h"

#include "core/Utf8.h"

namespace qm {

std::string csvField(std::string_view text) {
    std::string valid = validUtf8(text);
    if (valid.find_first_of(",\"\r\n") == std::string::npos) return valid;
    std::string quoted = "\"";
    for (char c : valid) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + "\"";
}

}  // namespace qm
