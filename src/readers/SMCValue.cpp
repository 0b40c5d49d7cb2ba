#include "readers/SMCValue.h"

#include <cmath>
#include <cstring>

namespace qm {

std::optional<double> decodeSMCValue(std::string_view dataType, const std::vector<uint8_t>& bytes) {
    if (dataType == "flt ") {
        if (bytes.size() < 4) return std::nullopt;
        float value = 0;
        std::memcpy(&value, bytes.data(), sizeof value);
        if (!std::isfinite(value)) return std::nullopt;
        return static_cast<double>(value);
    }
    if (dataType == "fpe2") {
        if (bytes.size() < 2) return std::nullopt;
        return static_cast<double>((bytes[0] << 8) | bytes[1]) / 4.0;
    }
    if (dataType == "ui8 ") {
        if (bytes.empty()) return std::nullopt;
        return static_cast<double>(bytes[0]);
    }
    if (dataType == "ui16") {
        if (bytes.size() < 2) return std::nullopt;
        return static_cast<double>((bytes[0] << 8) | bytes[1]);
    }
    return std::nullopt;
}

uint32_t smcCode(std::string_view fourChars) {
    uint32_t code = 0;
    for (size_t i = 0; i < 4; ++i) {
        const auto c = i < fourChars.size() ? static_cast<unsigned char>(fourChars[i]) : ' ';
        code = (code << 8) | c;
    }
    return code;
}

std::string smcCodeText(uint32_t code) {
    std::string text(4, ' ');
    for (int i = 0; i < 4; ++i) text[static_cast<size_t>(i)] = static_cast<char>((code >> (24 - 8 * i)) & 0xff);
    return text;
}

std::string fanKey(int64_t index, std::string_view suffix) { return "F" + std::to_string(index) + std::string(suffix); }

std::vector<FanReading> readSMCFans(std::optional<int64_t>& fanCount,
                                    const std::function<std::optional<double>(const std::string&)>& readKey) {
    if (!fanCount) {
        auto count = readKey("FNum");
        // An unreadable count is remembered as none: asking again every full read
        // would cost a controller round trip for nothing.
        fanCount = count ? static_cast<int64_t>(*count) : 0;
    }
    std::vector<FanReading> fans;
    for (int64_t i = 0; i < *fanCount; ++i) {
        auto rpm = readKey(fanKey(i, "Ac"));
        if (!rpm) continue;
        fans.push_back({i, *rpm, readKey(fanKey(i, "Mn")), readKey(fanKey(i, "Mx"))});
    }
    return fans;
}

}  // namespace qm
