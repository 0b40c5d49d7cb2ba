#include "history/TimeArguments.h"

#include <cstdio>
#include <ctime>
#include <string>

#include "core/FileRead.h"

namespace qm {

namespace {

constexpr double longestSpan = 100.0 * 366 * 86400;

std::optional<Date> parseLocalDate(std::string_view text) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    char separator = 0;
    int consumed = 0;
    std::string s(text);
    int fields = std::sscanf(s.c_str(), "%4d-%2d-%2d%n%c%2d:%2d%n:%2d%n", &year, &month, &day, &consumed, &separator,
                             &hour, &minute, &consumed, &second, &consumed);
    bool shapeOK = (fields == 3 && consumed == static_cast<int>(s.size()) && s.size() == 10) ||
                   ((fields == 6 || fields == 7) && (separator == 'T' || separator == ' ') &&
                    consumed == static_cast<int>(s.size()));
    if (!shapeOK) return std::nullopt;
    if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60 || year < 1970 ||
        hour < 0 || minute < 0 || second < 0)
        return std::nullopt;
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    parts.tm_isdst = -1;
    std::time_t t = std::mktime(&parts);
    // mktime normalises 2024-02-31 to March: such a date was not a real one.
    if (t == static_cast<std::time_t>(-1) || parts.tm_mday != day || parts.tm_mon != month - 1) return std::nullopt;
    return static_cast<Date>(t);
}

}  // namespace

std::optional<double> parseDuration(std::string_view text) {
    text = trim(text);
    if (text.size() < 2) return std::nullopt;
    double unit = 0;
    switch (text.back()) {
        case 's': unit = 1; break;
        case 'm': unit = 60; break;
        case 'h': unit = 3600; break;
        case 'd': unit = 86400; break;
        case 'w': unit = 7 * 86400; break;
        default: return std::nullopt;
    }
    auto count = parseUInt(text.substr(0, text.size() - 1));
    if (!count || *count == 0) return std::nullopt;
    double seconds = static_cast<double>(*count) * unit;
    if (seconds > longestSpan) return std::nullopt;
    return seconds;
}

std::optional<Date> parseTimePoint(std::string_view text, Date now) {
    text = trim(text);
    if (text.empty()) return std::nullopt;
    if (text == "now") return now;
    if (auto span = parseDuration(text)) return now - *span;
    if (text.find('-') == std::string_view::npos) {
        auto seconds = parseUInt(text);
        if (seconds && *seconds < 100'000'000'000ULL) return static_cast<Date>(*seconds);
        return std::nullopt;
    }
    return parseLocalDate(text);
}

}  // namespace qm
