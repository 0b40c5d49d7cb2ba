#include "history/TimeArguments.h"

#include <cctype>
#include <ctime>
#include <string>

#include "core/FileRead.h"

namespace qm {

namespace {

constexpr double longestSpan = 100.0 * 366 * 86400;

// Reads the text left to right; every step either consumes what it wants or leaves
// the position where it was.
struct Cursor {
    std::string_view text;
    size_t at = 0;

    bool done() const { return at == text.size(); }
    bool take(char c) {
        if (at < text.size() && text[at] == c) {
            ++at;
            return true;
        }
        return false;
    }
    // Exactly `digits` digits (or 1 to `digits` when `exact` is false) as a number.
    std::optional<int> number(size_t digits, bool exact = true) {
        size_t start = at;
        int value = 0;
        while (at < text.size() && at - start < digits && std::isdigit(static_cast<unsigned char>(text[at])))
            value = value * 10 + (text[at++] - '0');
        if (at == start || (exact && at - start != digits)) {
            at = start;
            return std::nullopt;
        }
        return value;
    }
    // Spaces, including the no-break and narrow no-break spaces times print with.
    void skipSpaces() {
        for (;;) {
            if (take(' ') || take('\t')) continue;
            if (text.substr(at, 2) == "\xC2\xA0") {
                at += 2;
                continue;
            }
            if (text.substr(at, 3) == "\xE2\x80\xAF") {
                at += 3;
                continue;
            }
            return;
        }
    }
};

struct ClockTime {
    int hour = 0, minute = 0, second = 0;
};

// "14:05", "14:05:30", "2:05 PM", "2:05pm", "2 pm", "12am"; the cursor must end at the text's end.
std::optional<ClockTime> readClock(Cursor& c) {
    ClockTime t;
    auto hour = c.number(2, false);
    if (!hour) return std::nullopt;
    t.hour = *hour;
    bool hasMinutes = false;
    if (c.take(':')) {
        auto minute = c.number(2);
        if (!minute) return std::nullopt;
        t.minute = *minute;
        hasMinutes = true;
        if (c.take(':')) {
            auto second = c.number(2);
            if (!second) return std::nullopt;
            t.second = *second;
        }
    }
    c.skipSpaces();
    std::string rest;
    for (char ch : c.text.substr(c.at)) rest += static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    if (rest == "am" || rest == "a.m." || rest == "pm" || rest == "p.m.") {
        if (t.hour < 1 || t.hour > 12) return std::nullopt;
        t.hour = t.hour % 12 + (rest[0] == 'p' ? 12 : 0);
        c.at = c.text.size();
    } else if (!rest.empty() || !hasMinutes) {
        return std::nullopt;  // "14" alone is a number, not a time
    }
    if (t.hour > 23 || t.minute > 59 || t.second > 59) return std::nullopt;
    return t;
}

std::optional<Date> localMoment(int year, int month, int day, const ClockTime& t) {
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = t.hour;
    parts.tm_min = t.minute;
    parts.tm_sec = t.second;
    parts.tm_isdst = -1;
    std::time_t seconds = std::mktime(&parts);
    // mktime normalises 2024-02-31 to March: such a date was not a real one.
    if (seconds == static_cast<std::time_t>(-1) || parts.tm_mday != day || parts.tm_mon != month - 1)
        return std::nullopt;
    return static_cast<Date>(seconds);
}

// The latest moment at this clock time that is not after `now`.
std::optional<Date> latestAt(const ClockTime& t, Date now) {
    auto seconds = static_cast<std::time_t>(now);
    std::tm today{};
    if (!localtime_r(&seconds, &today)) return std::nullopt;
    auto moment = localMoment(today.tm_year + 1900, today.tm_mon + 1, today.tm_mday, t);
    if (moment && *moment > now) {
        std::tm yesterday = today;
        yesterday.tm_mday -= 1;
        yesterday.tm_hour = 12;  // noon: a day back whatever the clock change
        yesterday.tm_isdst = -1;
        std::time_t back = std::mktime(&yesterday);
        if (back == static_cast<std::time_t>(-1) || !localtime_r(&back, &yesterday)) return std::nullopt;
        moment = localMoment(yesterday.tm_year + 1900, yesterday.tm_mon + 1, yesterday.tm_mday, t);
    }
    return moment;
}

// "2026-11-20", then optionally " 14:05", "T14:05:30", a zone "Z" / "+01:00" / "-0500".
std::optional<Date> readDate(Cursor& c) {
    auto year = c.number(4);
    if (!year || !c.take('-')) return std::nullopt;
    auto month = c.number(2);
    if (!month || !c.take('-')) return std::nullopt;
    auto day = c.number(2);
    if (!day || *year < 1970 || *month < 1 || *month > 12 || *day < 1 || *day > 31) return std::nullopt;
    if (c.done()) return localMoment(*year, *month, *day, {});

    if (!c.take('T')) {
        if (!c.take(' ')) return std::nullopt;
        c.skipSpaces();
    }
    // The zone, if any, sits at the end: split it off before reading the clock.
    std::string_view rest = c.text.substr(c.at);
    std::optional<int> offset;  // seconds east of UTC
    if (!rest.empty() && (rest.back() == 'Z' || rest.back() == 'z')) {
        offset = 0;
        rest.remove_suffix(1);
    } else if (auto sign = rest.find_last_of("+-"); sign != std::string_view::npos && sign > 0) {
        Cursor zone{rest.substr(sign + 1)};
        auto hours = zone.number(2);
        zone.take(':');
        auto minutes = zone.number(2);
        if (!hours || !minutes || !zone.done() || *hours > 23 || *minutes > 59) return std::nullopt;
        offset = (*hours * 3600 + *minutes * 60) * (rest[sign] == '-' ? -1 : 1);
        rest = rest.substr(0, sign);
    }
    Cursor clock{rest};
    auto t = readClock(clock);
    if (!t || !clock.done()) return std::nullopt;
    if (!offset) return localMoment(*year, *month, *day, *t);
    std::tm parts{};
    parts.tm_year = *year - 1900;
    parts.tm_mon = *month - 1;
    parts.tm_mday = *day;
    parts.tm_hour = t->hour;
    parts.tm_min = t->minute;
    parts.tm_sec = t->second;
    std::time_t utc = timegm(&parts);
    if (utc == static_cast<std::time_t>(-1) || parts.tm_mday != *day) return std::nullopt;
    return static_cast<Date>(utc - *offset);
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
    // A span back from now: "2h", "-2h", "2h ago".
    std::string_view span = text;
    if (span.front() == '-') span.remove_prefix(1);
    if (span.size() > 4 && span.substr(span.size() - 4) == " ago") span = trim(span.substr(0, span.size() - 4));
    if (auto seconds = parseDuration(span)) return now - *seconds;
    if (text.front() == '-') return std::nullopt;

    // Unix seconds have nine digits or more (1973 on); "14" alone is nothing.
    if (text.find_first_not_of("0123456789") == std::string_view::npos) {
        if (text.size() < 9) return std::nullopt;
        auto seconds = parseUInt(text);
        if (seconds && *seconds < 100'000'000'000ULL) return static_cast<Date>(*seconds);
        return std::nullopt;
    }
    Cursor c{text};
    if (text.size() >= 10 && text[4] == '-') return readDate(c);
    auto clock = readClock(c);
    if (!clock || !c.done()) return std::nullopt;
    return latestAt(*clock, now);
}

std::string timeArgumentRefusal(const std::string& option, const std::string& text) {
    return option + " takes " + timeArgumentForms + ", not \"" + text + "\"";
}

}  // namespace qm
