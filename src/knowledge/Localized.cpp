#include "knowledge/Localized.h"

#include <vector>

namespace qm {

namespace {

// Length of the conversion that follows "%" (or after "%N$"): "@" or "lld"/"ld"/"d".
size_t conversionLength(std::string_view rest) {
    for (std::string_view c : {"@", "lld", "ld", "d"})
        if (rest.substr(0, c.size()) == c) return c.size();
    return 0;
}

}  // namespace

std::string fill(std::string_view format, std::initializer_list<std::string_view> values) {
    const std::vector<std::string_view> args(values);
    std::string out;
    out.reserve(format.size() + 32);
    size_t next = 0;  // the next value a sequential placeholder takes
    size_t i = 0;
    while (i < format.size()) {
        if (format[i] != '%') {
            out += format[i++];
            continue;
        }
        std::string_view rest = format.substr(i + 1);
        if (!rest.empty() && rest[0] == '%') {
            out += '%';
            i += 2;
            continue;
        }
        // Positional form: digits followed by '$'.
        size_t digits = 0;
        while (digits < rest.size() && rest[digits] >= '0' && rest[digits] <= '9') ++digits;
        size_t index = next;
        size_t consumed = 0;
        if (digits > 0 && digits <= 3 && digits < rest.size() && rest[digits] == '$') {
            size_t position = 0;
            for (size_t d = 0; d < digits; ++d) position = position * 10 + size_t(rest[d] - '0');
            index = position == 0 ? args.size() : position - 1;  // "%0$" names no value
            consumed = digits + 1;
        }
        const size_t conv = conversionLength(rest.substr(consumed));
        if (conv == 0) {  // not a placeholder: keep the percent sign as written
            out += '%';
            ++i;
            continue;
        }
        if (consumed == 0) ++next;
        if (index < args.size()) out += args[index];
        i += 1 + consumed + conv;
    }
    return out;
}

}  // namespace qm
